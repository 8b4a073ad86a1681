// Reading ZIP files: from disk, or from a resource of type "ZIP" in a module.
//
//   QVZIP zip = nullptr;
//   HRESULT status = QvZip_Open(TEXT("C:\\presets.zip"), 0, &zip);
//   if (FAILED(status)) return status;
//   status = QvZip_ExtractAll(zip, TEXT("C:\\presets"), 1, nullptr);
//   QvZip_Close(zip);
//
// The public format without ZIP64, multi-disk sets and encryption; names are in the process's 8-bit code page
// and come out with backslashes. Stored and deflated entries can be read. Checksums are not compared.
//
// An archive is input from a stranger: no name writes outside the folder that was given, no output grows
// beyond the size that its entry declares, and nothing is allocated for a size that the file cannot hold.
//
// A handle has one read position: use it, with all its enumerators, from one thread at a time.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

struct QVZIP__;
using QVZIP = QVZIP__*;
struct QVZIPENUM__;
using QVZIPENUM = QVZIPENUM__*;
struct HQVLANG__;

// Flag of QvZip_Open and QvZip_OpenResource: each entry is known by the last part of its name only.
inline constexpr uint32_t QVZIP_NAMEONLY = 1;

// One entry, as the central directory has it. The block is the caller's: GlobalHandle of its address goes to
// GlobalUnlock and GlobalFree; name, extra and comment stand in it.
struct QVZIPENTRY {
  uint16_t versionNeeded;
  uint16_t flags;
  uint16_t method;  // 0 stored, 8 deflated
  uint16_t time;    // DOS
  uint16_t date;    // DOS
  uint32_t crc32;
  uint32_t compressedSize;
  uint32_t uncompressedSize;
  uint16_t nameLength;  // bytes in the file
  uint16_t extraLength;
  uint16_t commentLength;
  uint32_t localHeaderOffset;
  const WCHAR* name;
  const uint8_t* extra;  // null without any
  const WCHAR* comment;  // bytes widened with their sign
};
static_assert(sizeof(QVZIPENTRY) == 64 && offsetof(QVZIPENTRY, crc32) == 12 &&
              offsetof(QVZIPENTRY, localHeaderOffset) == 32 && offsetof(QVZIPENTRY, name) == 40);

// What a long extraction tells its caller. poll giving 0x8004e00c, or a negative result of setPosition, ends
// the extraction with that status. Called on the extracting thread.
class QvZipProgress {
 public:
  virtual HRESULT setRange(uint32_t first, uint32_t total) = 0;
  virtual HRESULT setPosition(uint32_t position) = 0;
  virtual HRESULT poll() = 0;

 protected:
  ~QvZipProgress() = default;
};

// Opens a ZIP file. flags: 0 or QVZIP_NAMEONLY. zip: receives the handle, which the caller closes.
// 0x8004e007 when the file can't be opened, 0x80070057 when it is no ZIP file or one of several disks,
// 0x8004e008, 0x8007000e. On failure *zip is untouched.
QV_API HRESULT QvZip_Open(const WCHAR* path, uint32_t flags, QVZIP* zip);

// Opens a ZIP file that is a resource of type "ZIP", found as by QvLoadResourceCustom. The bytes stay in their
// module, which has to outlive the handle and its enumerators. zip: receives the handle, which the caller closes.
// 0x80070057 for null arguments or what is no ZIP file, the last error when there is no such resource,
// 0x8007000e. On failure *zip is untouched. QvZipEnum_NextSafe walks it too.
QV_API HRESULT QvZip_OpenResource(const WCHAR* name, uint32_t flags, QVZIP* zip, HQVLANG__* language);

// Gives a handle back: 0 when that was the last reference, 1 while enumerators still hold it, 0x80070057 for
// a null handle.
QV_API HRESULT QvZip_Close(QVZIP zip);

// Extracts the entry of this name, compared without case, to a file. See QvZipEnum_Extract; 0x80070057 when
// there is none.
QV_API HRESULT QvZip_ExtractFile(QVZIP zip, const WCHAR* name, const WCHAR* target, int32_t direct,
                                 QvZipProgress* progress);

// Extracts the entry of this name into a block, which the caller frees as an entry's. size: receives its
// bytes; may be null. 0x80070057 when there is none, else as QvZipEnum_ExtractToMemory.
QV_API HRESULT QvZip_ExtractToMemory(QVZIP zip, const WCHAR* name, void** block, uint32_t* size);

// Extracts every entry below a folder; the progress counts entries. An entry whose name leads out of the
// folder (or names a device, a stream or a drive) is left out: the others are extracted, and the result is
// 0x8004e00d. Any other failure ends the walk, and a cancel by poll too, with 0x8004e00c.
QV_API HRESULT QvZip_ExtractAll(QVZIP zip, const WCHAR* folder, int32_t direct, QvZipProgress* progress);

// Starts a walk, which holds a reference of its own to the handle. The caller destroys it.
QV_API HRESULT QvZipEnum_Create(QVZIP zip, QVZIPENUM* walk);
// Ends a walk; results as for QvZip_Close.
QV_API HRESULT QvZipEnum_Destroy(QVZIPENUM walk);

// Entries of the archive as its end record counts them, 0 to 65535; 0 for a null handle.
QV_API int32_t QvZipEnum_GetFileCount(QVZIP zip);

// The next entry. 0x80070057 after the last one, with *entry untouched; 0x8004e008 for a damaged directory.
QV_API HRESULT QvZipEnum_Next(QVZIPENUM walk, QVZIPENTRY** entry);

// The next entry's name only. `unused` is not looked at. 0x8004e03c, with an empty text, when it doesn't fit.
QV_API HRESULT QvZipEnum_NextSafe(const void* unused, QVZIPENUM walk, WCHAR* name, int32_t capacity);

// Extracts an entry of a walk to a file, which gets the entry's time. An entry without content has to be a
// folder, and makes one; an empty file gives 0x80004005.
//   direct  nonzero: straight into the file, a block at a time, whatever the entry's size. A local header
//           that is missing or wrong leaves an empty file and gives 0. Zero: through memory.
// The folder on the way is made. 0x8004e006, 0x8004e008, 0x8004e009, 0x8004e00b (a method that is unknown,
// damaged data, more data than declared), 0x8004e00c, 0x8007000e.
QV_API HRESULT QvZipEnum_Extract(QVZIP zip, const QVZIPENTRY* entry, const WCHAR* target, int32_t direct,
                                 QvZipProgress* progress);

// Extracts an entry into a block of its uncompressed size, which the caller frees as an entry's. 0x8007000e
// also for an entry without content.
QV_API HRESULT QvZipEnum_ExtractToMemory(QVZIP zip, const QVZIPENTRY* entry, void** block);

// By place in the directory, from 0; each call walks up to it. A name: 0x8004e03c with an empty text when it
// doesn't fit, 0x80070057 beyond the end. A size: 0 beyond the end or for a name that isn't there.
QV_API HRESULT QvZipEnum_GetFileName(QVZIP zip, int32_t index, WCHAR* name, int32_t capacity);
QV_API uint32_t QvZipEnum_GetUncompressedSizeFromIndex(QVZIP zip, int32_t index);
QV_API uint32_t QvZipEnum_GetUncompressedSizeFromName(QVZIP zip, const WCHAR* name);

// The sum of all uncompressed sizes, in bytes.
QV_API uint64_t QvZipEnum_GetTotalUncompressedSize(QVZIP zip);
