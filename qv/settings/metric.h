// Metrics: an application's named settings, kept by the system for the user.
//
// A metric is one value in the registry below a key of the application's own. The caller names it by a small
// number, and the store makes the value's name of number and type; number and type together are the setting.
// Every read brings its own default, so a value that is missing or damaged never is an error.
//
//   HQVMETRIC metrics = nullptr;
//   QvMetric_Open(&metrics, TEXT("Cutter"), 0x02010000, nullptr);        // version 2.1
//   int32_t zoom = QvGetMetricEx(metrics, 12, 1, 64, 8);                 // from 1 to 64, else 8
//   QvSetMetric(metrics, 12, zoom * 2);
//   QvMetric_Close(metrics);
//
// | type               | stored as    | value's name for 12 (and for -12) |
// |--------------------|--------------|-----------------------------------|
// | 1, string          | REG_SZ       | S12                               |
// | 3, binary          | REG_BINARY   | B12                               |
// | 4, number          | REG_DWORD    | 12                                |
// | other, many texts  | REG_MULTI_SZ | Z12                               |
//
// A version word holds the major number in bits 24 to 31 and the minor one in bits 16 to 23; with major 0 the
// settings belong to no version. They stand below HKEY_CURRENT_USER in
// Software\VENDOR\APPLICATION\MAJOR.MINOR\Metrics, or without the version part.
//
// Nothing is cached: all handles and all processes see each other's writes at once. A handle may be used from
// any thread, but not while it is closed; every function here may be called from any thread.
#pragma once

#include "qv/api.h"
#include "qv/platform/registry.h"
#include "qv/platform/stream.h"

// An open set of metrics. A record whose key could not be opened is good as well: reads give their defaults.
struct QVMETRIC {
  WCHAR reserved[260];  // zero
  HKEY secondKey;       // closed with the record when it is set
  WCHAR keyPath[260];   // below HKEY_CURRENT_USER; sub-keys and deletion go by it
  HKEY key;             // null when it could not be opened
};
static_assert(sizeof(QVMETRIC) == 1056);
static_assert(offsetof(QVMETRIC, secondKey) == 520 && offsetof(QVMETRIC, keyPath) == 528 &&
              offsetof(QVMETRIC, key) == 1048);
using HQVMETRIC = QVMETRIC*;

// Stands for the process's default handle, where a function takes it: all reads, QvSetMetric,
// QvSetMetricUsingName, QvDoesMetricExist, QvDeleteMetric, QvDeleteMetricUsingName. Null is the same as a
// default handle that was not set: reads give their defaults, writes fail with 0x80004005.
#define QVMETRIC_DEFAULT (reinterpret_cast<HQVMETRIC>(static_cast<LONG_PTR>(-1)))

namespace qv {

// The types of a metric; any other number means many texts.
inline constexpr int32_t kMetricString = 1, kMetricBinary = 3, kMetricNumber = 4, kMetricMultiString = 7;

// Makes `metrics` (null for none) what QVMETRIC_DEFAULT stands for. It stays the caller's, who sets null
// before closing it. Gives the one before.
QV_API HQVMETRIC setDefaultMetric(HQVMETRIC metrics);

}  // namespace qv

// ---- opening and closing --------------------------------------------------------------------------------

// Open the metrics of an application, making their key where it is missing.
//   metrics      receives the handle, also when the key could not be opened; close it with QvMetric_Close.
//                Null only when memory ran out (0x8007000e)
//   application  not null
//   subKey       a key of its own directly below the metrics; null or empty for the metrics themselves
//   vendor       not null; QvMetric_Open takes "Halden Media Works"
// 0; 0x8007xxxx is the system's reason, for a path of 260 characters or more 0x800700ce.
QV_API HRESULT QvMetric_Open(HQVMETRIC* metrics, const WCHAR* application, uint32_t version,
                             const WCHAR* subKey);
QV_API HRESULT QvMetric_OpenRegHiveAndVersion(HQVMETRIC* metrics, const WCHAR* application, uint32_t version,
                                              const WCHAR* vendor, const WCHAR* subKey);

// The same for a key given by its path below HKEY_CURRENT_USER.
QV_API HRESULT QvMetric_OpenAppVersion(HQVMETRIC* metrics, const WCHAR* keyPath, const WCHAR* subKey);

// Opens a sub-key of the metrics that `parent` belongs to. Sub-keys don't nest: one of a sub-key is its
// sibling. 0x80004005 for a null parent; results else as for QvMetric_Open.
QV_API HRESULT QvMetric_OpenSubKey(HQVMETRIC* metrics, HQVMETRIC parent, const WCHAR* subKey);

// Ends a handle; null allowed. 0.
QV_API HRESULT QvMetric_Close(HQVMETRIC metrics);

// The same, and deletes the key with all below it. 0x80004005 for null, and when something could not be
// deleted; the handle is gone in any case.
QV_API HRESULT QvMetric_CloseAndDeleteKey(HQVMETRIC metrics);

// ---- deleting -------------------------------------------------------------------------------------------

// Delete all that an application stored under a version: from the machine's hive and the user's,
// DeleteUserMetrics from the user's only. Nothing there is no failure; the result is 0 whatever happened.
//   application, vendor  not empty, else nothing is deleted
QV_API HRESULT QvMetric_DeleteAll(const WCHAR* application, uint32_t version);
QV_API HRESULT QvMetric_DeleteAllHiveAndVersion(const WCHAR* application, uint32_t version,
                                                const WCHAR* vendor);
QV_API HRESULT QvMetric_DeleteUserMetrics(const WCHAR* application, uint32_t version);

// Delete the metrics, or with a sub-key (null or empty for none) that one only, from both hives. 0.
QV_API HRESULT QvMetric_DeleteKey(const WCHAR* application, uint32_t version, const WCHAR* subKey);
QV_API HRESULT QvMetric_DeleteKeyHiveAndVersion(const WCHAR* application, uint32_t version,
                                                const WCHAR* vendor, const WCHAR* subKey);

// Deletes a registry key with all below it. 1 when it is gone or never was, else 0; also 0 for a null or
// empty path, which would be the whole of `root`.
QV_API int32_t QvRegDeleteKey(HKEY root, const WCHAR* path);

// ---- numbers --------------------------------------------------------------------------------------------

// The stored number, or 0.
QV_API int32_t QvGetMetric(HQVMETRIC metrics, int32_t number);

// The stored number kept from `minimum` to `maximum`, else the default kept so; equal limits mean none.
// Without a handle or a key the default comes back as it is.
QV_API int32_t QvGetMetricEx(HQVMETRIC metrics, int32_t number, int32_t minimum, int32_t maximum,
                             int32_t otherwise);

// 1 when the stored number, or else the default, is not 0; else 0. Without a handle or a key the default
// comes back as it is.
QV_API int32_t QvGetMetricBool(HQVMETRIC metrics, int32_t number, int32_t otherwise);

// Stores a number. 0 or 0x80004005.
QV_API HRESULT QvSetMetric(HQVMETRIC metrics, int32_t number, int32_t value);

// A number under a name of the caller's, which is used as it stands; setting gives 0, 0x80004005 without a
// handle or a key, or the system's reason as 0x8007xxxx.
QV_API int32_t QvGetMetricUsingName(HQVMETRIC metrics, const WCHAR* name, int32_t otherwise);
QV_API HRESULT QvSetMetricUsingName(HQVMETRIC metrics, const WCHAR* name, int32_t value);

// ---- bytes ----------------------------------------------------------------------------------------------

// Reads bytes and clears the rest of the buffer. How many were read; 0, the whole buffer cleared, when there
// are none or more than `size`. A null buffer reads nothing.
QV_API uint32_t QvGetMetricBinary(HQVMETRIC metrics, int32_t number, void* buffer, uint32_t size);

// The same with a status, and how many bytes there are in `sizeOut`: 0; 0x8004e03c when the buffer is too
// small; 1 when there are none; 0x8004e00a without a handle or a key; 0x80070057 for a null `sizeOut`. A null
// buffer of size 0 asks for the size.
QV_API HRESULT QvGetMetricBinaryEx(HQVMETRIC metrics, int32_t number, void* buffer, uint32_t size,
                                   uint32_t* sizeOut);

// Stores bytes. 0 or 0x80004005, which is the answer to QVMETRIC_DEFAULT too.
QV_API HRESULT QvSetMetricBinary(HQVMETRIC metrics, int32_t number, const void* data, uint32_t size);

// Writes the stored bytes to the start of a stream. 0x80004003 for a null stream; 0x8000ffff when there are
// none or the stream did not take them all; 0x8007000e.
QV_API HRESULT QvGetMetricStream(HQVMETRIC metrics, int32_t number, IStream* stream);

// Stores the bytes of a memory stream (CreateStreamOnHGlobal) from its start to its position: leave it at its
// end. At most 2048, else 0x80070057; none gives 0x8000ffff; a null stream 0x80004003; null and
// QVMETRIC_DEFAULT 0x80004005.
QV_API HRESULT QvSetMetricStream(HQVMETRIC metrics, int32_t number, IStream* stream);

// ---- texts ----------------------------------------------------------------------------------------------

// Read a text, or many, and clear the rest of the buffer.
//   capacity   of the buffer in characters with the terminator; what is longer counts as missing
//   otherwise  copied when there is no text; null for none
//   keepEmpty  not 0: a stored empty text is the answer, not a reason to take the default
// The length in characters without the (last) terminator.
QV_API uint32_t QvGetMetricStringEx(HQVMETRIC metrics, int32_t number, WCHAR* buffer, uint32_t capacity,
                                    const WCHAR* otherwise, int32_t keepEmpty);
QV_API uint32_t QvGetMetricMultiStringEx(HQVMETRIC metrics, int32_t number, WCHAR* buffer, uint32_t capacity,
                                         const WCHAR* otherwise, int32_t keepEmpty);

// Store a text, or many: each with its terminator and one more at the end, all counted in `size`. 0 or
// 0x80004005, which is the answer to QVMETRIC_DEFAULT too.
QV_API HRESULT QvSetMetricString(HQVMETRIC metrics, int32_t number, const WCHAR* text);
QV_API HRESULT QvSetMetricMultiString(HQVMETRIC metrics, int32_t number, const WCHAR* data, uint32_t size);

// ---- any type -------------------------------------------------------------------------------------------

// Reads the value whose name is the bare number, whatever its type.
//   type     what the caller expects, as REG_ number
//   size     of the buffer in bytes
//   sizeOut  null allowed; receives the bytes where the result is 0 or 0x8004e03c
// 0x8000ffff without a handle or a key; 0x8004e03c when the buffer is too small, or so full of text that its
// last character had to give way to the terminator. Mind the other two: 0x8004e00a means that the value has
// the type and stands in the buffer; 0 that it has another (a text gets a terminator) or is missing.
QV_API HRESULT QvGetMetricAny(HQVMETRIC metrics, int32_t number, int32_t type, void* buffer, uint32_t size,
                              uint32_t* sizeOut);

// 0 when the metric is there and of this type, else 1.
QV_API int32_t QvDoesMetricExist(HQVMETRIC metrics, int32_t number, int32_t type);

// Delete a metric; by name the type does not matter. 0; 1 without a handle or a key; 0x80004005 when it was
// not there or could not go.
QV_API HRESULT QvDeleteMetric(HQVMETRIC metrics, int32_t number, int32_t type);
QV_API HRESULT QvDeleteMetricUsingName(HQVMETRIC metrics, const WCHAR* name, int32_t type);

// Writes a display name of a metric to `text`, which has room for 16 characters. The characters written. It
// is the value's name but for numbers, which are shown with a D in front and stored without.
QV_API int32_t QvMetricGetName(int32_t number, int32_t type, WCHAR* text);
