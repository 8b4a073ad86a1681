// The toolkit's own archives: one file, or a set of volumes, that holds compressed trees of files.
//
//   CArchive2 archive;
//   HRESULT status = archive.Open(TEXT("C:\\takes.arc"), QVARCHIVE_CREATE, nullptr);
//   if (SUCCEEDED(status)) status = archive.AddEntryToArchive(TEXT("C:\\takes"), 1, 6, 0, nullptr);
//   const HRESULT closed = archive.Close();  // writes the directory: without it there is no archive
//
// docs/formats/archive2.md describes the file. All sizes are 64-bit, names are UTF-16, times are FILETIMEs
// and every entry has checksums over what is stored and over what was there before. Nothing but Annotate
// changes an archive in place: append, delete, split and merge rebuild it in a temporary file beside it,
// which takes its place at Close.
//
// An object belongs to one thread at a time. The other party is the interface thread, which runs the window
// side of the progress object. The answers "overwrite all" and "skip all" are the process's, so that two
// archives at work at once share them.
//
// An archive is input from a stranger: no entry is written outside the folder that was given, or through a
// link that leads out of it (0x8004e00d, and the walk goes on); no output grows beyond the size that its
// entry declares; nothing is allocated for a size that the file cannot hold.
#pragma once

#include "qv/api.h"
#include "qv/platform/win32.h"

// How Open opens.
enum : int32_t {
  QVARCHIVE_CREATE = 0,          // a new archive; one that is there is replaced
  QVARCHIVE_READ = 1,            // reading and extraction only
  QVARCHIVE_APPEND = 2,          // add entries
  QVARCHIVE_DELETE = 3,          // delete entries
  QVARCHIVE_SELFEXTRACTING = 4,  // the source of CreateSEA
  QVARCHIVE_MULTIVOLUME = 5,     // the source of SplitArchive and MergeArchive
};

// Flags of extraction.
inline constexpr uint32_t QVEXTRACT_NAMEONLY = 1;   // the last part of the name only, and no folders
inline constexpr uint32_t QVEXTRACT_OVERWRITE = 4;  // without asking
inline constexpr uint32_t QVEXTRACT_NOTOTAL = 8;    // announces no new total

// Flags of adding. Split, merge and delete take 1 for "announces no new total".
inline constexpr uint32_t QVADD_RECURSE = 1;        // a pattern descends into folders that match
inline constexpr uint32_t QVADD_NOTOTAL = 2;        // announces no new total
inline constexpr uint32_t QVADD_REPLACE = 4;        // replaces an entry of the same name without asking
inline constexpr uint32_t QVADD_CLEARREADONLY = 8;  // stores the attributes without the read-only bit

// What CQvArchiveProgress::status is told.
enum : uint32_t {
  QVARCHIVE_STATUS_FILEDONE = 0,
  QVARCHIVE_STATUS_EXTRACTING = 0x0aaaaaa0,
  QVARCHIVE_STATUS_ADDING = 0x0aaaaaa1,
  QVARCHIVE_STATUS_DELETING = 0x0aaaaaa3,
  QVARCHIVE_STATUS_ASKOVERWRITE = 0x0aaaaaa4,  // a question: answer with respond
  QVARCHIVE_STATUS_SKIPPED = 0x0aaaaaa5,
  QVARCHIVE_STATUS_OVERWRITTEN = 0x0aaaaaa6,
  QVARCHIVE_STATUS_COPYING = 0x0aaaaaa7,
  QVARCHIVE_STATUS_VALIDATING = 0x0aaaaaa8,
  QVARCHIVE_STATUS_ASKREADONLY = 0x0aaaaaa9,  // a question, for a read-only file
  QVARCHIVE_STATUS_BEGIN = 0x0aaaaaae,        // a new total
  QVARCHIVE_STATUS_DONE = 0x0aaaaaaf,         // the whole operation
};

// What CQvArchiveProgress::error is told; the text then names the step, and behind a bar the file.
enum : uint32_t {
  QVARCHIVE_ERROR_ARGUMENT = 0xaaaaaaa0,
  QVARCHIVE_ERROR_MODE = 0xaaaaaaa1,
  QVARCHIVE_ERROR_CREATE = 0xaaaaaaa2,
  QVARCHIVE_ERROR_MEMORY = 0xaaaaaaa3,
  QVARCHIVE_ERROR_OPEN = 0xaaaaaaa4,
  QVARCHIVE_ERROR_FORMAT = 0xaaaaaaa5,
  QVARCHIVE_ERROR_COPY = 0xaaaaaaa6,
  QVARCHIVE_ERROR_LENGTH = 0xaaaaaaa7,
  QVARCHIVE_ERROR_SPACE = 0xaaaaaaa8,
  QVARCHIVE_ERROR_WRITE = 0xaaaaaaa9,
  QVARCHIVE_ERROR_READ = 0xaaaaaaaa,
  QVARCHIVE_ERROR_TIME = 0xaaaaaaab,
  QVARCHIVE_ERROR_NOMATCH = 0xaaaaaaac,
  QVARCHIVE_ERROR_VOLUME = 0xaaaaaaad,
  QVARCHIVE_ERROR_MISSING = 0xaaaaaaae,
  QVARCHIVE_ERROR_CRC = 0xaaaaaaaf,
  QVARCHIVE_ERROR_CLOSED = 0xaaaaaab0,
};

// Answers to a question, and a cancel.
enum : uint32_t {
  QVARCHIVE_RESPONSE_OVERWRITE = 1,
  QVARCHIVE_RESPONSE_SKIP = 2,
  QVARCHIVE_RESPONSE_OVERWRITEALL = 3,
  QVARCHIVE_RESPONSE_SKIPALL = 4,
  QVARCHIVE_RESPONSE_CANCEL = 0x8004e00c,
  QVARCHIVE_RESPONSE_PENDING = 0x8004e050,  // nobody has answered yet
};

// Through this every long operation talks to its caller. The base does the book-keeping and asks nobody:
// derive, override status to show and to answer, and call the base. The virtual operations are called on the
// working thread, in the midst of an operation: they leave the archive itself alone. respond may be called on
// any thread.
class QV_API CQvArchiveProgress {
 public:
  CQvArchiveProgress();
  virtual ~CQvArchiveProgress();
  CQvArchiveProgress(const CQvArchiveProgress&) = delete;
  CQvArchiveProgress& operator=(const CQvArchiveProgress&) = delete;

  // A new total of `total` bytes for what `text` names.
  virtual HRESULT begin(const WCHAR* text, uint64_t total);
  virtual HRESULT error(uint32_t code);
  // A question waits in the next takeResponse when the override called ask() and the answer is to come later.
  virtual HRESULT status(uint32_t code);
  // A negative result stops an addition.
  virtual HRESULT advance(uint64_t amount);

  // The text that goes with the next call, cut at 259 characters.
  void setText(const WCHAR* text);
  // The total without a word to anyone.
  void setTotal(uint64_t total);
  void setFurther(uint64_t word);
  // Marks a question as pending: takeResponse then waits for respond.
  void ask();
  // Stores an answer and wakes the worker if it waits.
  void respond(uint32_t response);
  // The answer, waiting for it while one is pending; clears it. 0 when there is none.
  uint32_t takeResponse();

  const WCHAR* text() const { return text_; }
  uint64_t total() const { return total_; }
  uint64_t done() const { return done_; }

 private:
  HANDLE semaphore_;
  uint32_t response_ = 0;

 protected:
  uint32_t reserved_ = 0;

 public:
  void* callerValue = nullptr;  // the caller's

 private:
  uint64_t total_ = 0;

 protected:
  uint64_t spare_ = 0;  // a subclass's own

 private:
  uint64_t done_ = 0;
  uint64_t further_ = 0;
  WCHAR text_[260] = {};

 protected:
  uint64_t reserved2_[2] = {};
};
static_assert(sizeof(CQvArchiveProgress) == 600);

namespace qv::files {
struct Archive;
}

class QV_API CArchive2 {
 public:
  CArchive2();
  // Frees; writes nothing. What was added since Open is lost without Close.
  virtual ~CArchive2();
  CArchive2(const CArchive2&) = delete;
  CArchive2& operator=(const CArchive2&) = delete;

  // Ties the object to a file. mode: QVARCHIVE_ values. progress: kept until Close, the caller's; may be
  // null, and then nothing is asked: existing files are overwritten. 0x8004e032 (no such file), 0x8004e006,
  // 0x8004e0b0 (no archive), 0x80004001 (mode), 0x8007000e.
  HRESULT Open(const WCHAR* path, int32_t mode, CQvArchiveProgress* progress);

  // Ends the work and, for the writing modes, brings it to disk. 1 when there was nothing to write, negative
  // when the archive is as it was before (the temporary file stays beside it).
  HRESULT Close();

  // ---- What the archive holds

  // Entries, folders among them; -1 when closed or damaged.
  int32_t GetArchiveCount();
  // Bytes of all volumes; -1 when closed. A missing volume counts 0 and is reported.
  int64_t GetArchiveSize();
  HRESULT GetCreateTime(FILETIME& time);
  HRESULT GetModifyTime(FILETIME& time);
  // The comment; capacity counts the terminator. 0x80004005 closed, 0x8004e0b0, 0x8004e03c too short.
  HRESULT GetVolumeComment(WCHAR* text, int32_t capacity);
  bool GetArchiveSEAStatus();
  int32_t GetMultiVolumeStatus();

  // By index, from 0: 0 and nothing written for an index out of range; else 1, or 0 for an entry that can't
  // be read. By name, compared without case and either whole or by its last part, patterns included: 0 found,
  // 1 not found.
  HRESULT GetEntryName(int32_t index, WCHAR* name, int32_t capacity);
  HRESULT GetEntryUncompressedSize(int32_t index, uint64_t& bytes);
  HRESULT GetEntryUncompressedSize(const WCHAR* name, uint64_t& bytes);
  HRESULT GetEntryCompressedSize(int32_t index, uint64_t& bytes);
  HRESULT GetEntryCompressedSize(const WCHAR* name, uint64_t& bytes);
  HRESULT GetEntryCompressionType(int32_t index, uint32_t& method);
  HRESULT GetEntryCompressionType(const WCHAR* name, uint32_t& method);
  HRESULT GetEntryFileTime(int32_t index, FILETIME& time);
  HRESULT GetEntryFileTime(const WCHAR* name, FILETIME& time);
  HRESULT GetEntryCRC32(int32_t index, uint32_t& crc);  // of the original bytes
  HRESULT GetEntryCRC32(const WCHAR* name, uint32_t& crc);
  HRESULT GetEntryFileAttributes(int32_t index, uint32_t& attributes);
  HRESULT GetEntryFileAttributes(const WCHAR* name, uint32_t& attributes);
  // Whether there is an entry of exactly this name, in any case.
  bool IsEntryInArchive(const WCHAR* name);

  // ---- Extraction
  //
  // Names may be patterns: "*.*" is everything, a star at the start or at the end stands for any text. flags:
  // QVEXTRACT_ values. count: null counts as 1.

  HRESULT GetSizeExtractAll(uint64_t& bytes);
  HRESULT GetSizeExtractEntry(const WCHAR* name, uint64_t& bytes, uint32_t flags);
  HRESULT GetSizeExtractEntry(int32_t first, const int32_t* count, uint64_t& bytes, uint32_t flags);
  // 0 when it fits into the folder's volume, 1 when not; 0x8004e00d or 0x80070057 without the folder.
  HRESULT IsSpaceForExtractAll(const WCHAR* folder, uint32_t flags);
  HRESULT IsSpaceForExtractEntry(const WCHAR* name, const WCHAR* folder, uint32_t flags);
  HRESULT IsSpaceForExtractEntry(int32_t first, const int32_t* count, const WCHAR* folder, uint32_t flags);
  // Everything; a file that fails stops nothing, and the last failure is the result.
  HRESULT ExtractAll(const WCHAR* folder, uint32_t flags);
  // 0 when something was extracted, 1 when nothing matched.
  HRESULT ExtractEntry(const WCHAR* name, const WCHAR* folder, uint32_t flags);
  // 1, or 0 without doing anything when the space doesn't suffice.
  HRESULT ExtractEntry(int32_t first, const int32_t* count, const WCHAR* folder, uint32_t flags);
  // Compares the stored bytes' checksums, in the main file only: 0x8004e008, 0x8004e00b.
  HRESULT ValidateEntry(const WCHAR* name);
  HRESULT ValidateEntry(int32_t index);

  // ---- Adding, in the modes create and append

  // Adds a file, the tree below a folder, or what matches a pattern in a folder. method: 0 stored, 1
  // deflated; level: 0 to 9, or -1 for the library's own; destination: the folder inside the archive, or null
  // to keep the names below the path's folder.
  HRESULT AddEntryToArchive(const WCHAR* path, uint32_t method, int32_t level, uint32_t flags,
                            const WCHAR* destination);
  HRESULT GetSizeAddEntry(const WCHAR* path, uint64_t& bytes, uint32_t flags);
  HRESULT GetCountAddEntry(const WCHAR* path, uint32_t& count, uint32_t flags);
  HRESULT IsSpaceForAddEntry(const WCHAR* path, uint32_t flags);
  // Sets the comment that the next end record gets, cut at 1023 characters; not in the mode read.
  void AddVolumeComment(const WCHAR* text);
  // Changes the comment of an archive in place. The object is closed before and after.
  HRESULT Annotate(const WCHAR* path, const WCHAR* text);

  // ---- Deleting, in the mode delete: marks until Close

  HRESULT DeleteEntryFromArchive(const WCHAR* name, uint32_t flags);
  int32_t IsDeleteRequested();
  void AbortDeletionProcess();
  int32_t GetEntryDeleteStatus(int32_t index);

  // ---- Volumes, in the mode multi-volume

  HRESULT SplitArchive(uint64_t volumeBytes, uint32_t flags);
  HRESULT MergeArchive(uint32_t flags);
  HRESULT IsSpaceForMerge();
  HRESULT GetSizeMerge(uint64_t& bytes);

  // ---- Self-extraction, in the mode self-extracting; SplitSEA in any reading mode

  // Puts the archive behind a stub program.
  HRESULT CreateSEA(const WCHAR* output, const WCHAR* stub, uint32_t flags);
  HRESULT IsSpaceForCreateSEA(const WCHAR* output, const WCHAR* stub);
  HRESULT GetSizeCreateSEA(const WCHAR* stub, uint64_t& bytes);
  // Takes the stub, as "Seastub.exe", and the archive apart into a folder.
  HRESULT SplitSEA(const WCHAR* folder, uint32_t flags);

 private:
  qv::files::Archive* archive_;
};
