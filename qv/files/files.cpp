// What single files and folders are.
#include "qv/files/files.h"

#include <cstring>

#include "qv/files/detail/tree_path.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/platform/times.h"
#include "qv/platform/volumes.h"

namespace qv::files {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// A file that is there, opened for as long as this lives.
class ExistingFile {
 public:
  ExistingFile(const WCHAR* path, DWORD access, DWORD share)
      : handle_(CreateFileW(path, access, share, nullptr, OPEN_EXISTING, 0, nullptr)) {}
  ~ExistingFile() {
    if (good()) CloseHandle(handle_);
  }
  ExistingFile(const ExistingFile&) = delete;
  ExistingFile& operator=(const ExistingFile&) = delete;
  bool good() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  const HANDLE handle_;
};

// ---- Programs

constexpr DWORD kHeaderRead = 4096;
constexpr DWORD kDosHeader = 64;      // bytes
constexpr DWORD kOffsetPlace = 60;    // where the DOS header says where the other one is
constexpr DWORD kProgramHeader = 24;  // bytes: signature and file header
constexpr DWORD kMachinePlace = 4, kSubsystemPlace = 22;
constexpr uint32_t kProgramSignature = 0x00004550;

template <typename Word>
Word wordAt(const uint8_t* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

bool seek(HANDLE file, uint32_t position) {
  LARGE_INTEGER distance;
  distance.QuadPart = position;
  return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) != 0;
}

DWORD readAt(HANDLE file, uint32_t position, uint8_t* bytes) {
  DWORD got = 0;
  return seek(file, position) && ReadFile(file, bytes, kHeaderRead, &got, nullptr) ? got : 0;
}

// The header of a program in `bytes`, or null.
const uint8_t* findHeader(HANDLE file, uint8_t* bytes) {
  const DWORD got = readAt(file, 0, bytes);
  if (got < kDosHeader || bytes[0] != 'M' || bytes[1] != 'Z') return nullptr;
  const auto offset = wordAt<uint32_t>(bytes + kOffsetPlace);
  const uint8_t* header = bytes + offset;
  if (offset > got || got - offset < kProgramHeader) {
    if (readAt(file, offset, bytes) < kProgramHeader) return nullptr;
    header = bytes;
  }
  return wordAt<uint32_t>(header) == kProgramSignature ? header : nullptr;
}

// ---- Space

bool isShare(const WCHAR* path) {
  return path[0] == '\\' && path[1] == '\\';
}

// Drive and folder of a path, as the run-time's _wsplitpath_s tells them apart.
bool writeFolder(const WCHAR* path, WCHAR* folder) {
  const View whole = path;
  const size_t end = whole.find_last_of(TEXT("\\/")) + 1;
  return write(whole.substr(0, end), folder, kPathCapacity);
}

uint32_t inUnits(uint64_t bytes, uint32_t unit) {
  constexpr double kMost = 4294967295.0;
  const double units = unit != 0 ? static_cast<double>(bytes) / unit : static_cast<double>(bytes);
  return units > kMost ? 0xffffffffu : static_cast<uint32_t>(units);
}

enum class Space { free, total };

uint32_t spaceOf(const WCHAR* path, uint32_t unit, Space wanted) {
  WCHAR folder[kPathCapacity];
  ULARGE_INTEGER free = {}, total = {};
  const bool known = QvGetRootPathFromFilePath(path, folder, 0) > 0 && writeFolder(path, folder) &&
                     GetDiskFreeSpaceExW(folder, &free, &total, nullptr);
  if (!known) return isShare(path) ? 0xffffffffu : 0;
  return inUnits(wanted == Space::free ? free.QuadPart : total.QuadPart, unit);
}

// ---- Times

bool lastWritten(const WCHAR* path, FILETIME* time) {
  const ExistingFile file(path, 0, kShareAll);
  return file.good() && GetFileTime(file.get(), nullptr, nullptr, time);
}

uint32_t dosTime(const FILETIME& time) {
  WORD date = 0, clock = 0;
  return FileTimeToDosDateTime(&time, &date, &clock) ? (uint32_t{date} << 16) | clock : 0;
}

}  // namespace
}  // namespace qv::files

using namespace qv::files;

int32_t QvDoesFileExist(const WCHAR* path, int32_t hideHidden) {
  const DWORD attributes = GetFileAttributesW(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return 0;
  constexpr DWORD kDevice = 0x40;
  const DWORD refused = FILE_ATTRIBUTE_DIRECTORY | kDevice | (hideHidden ? FILE_ATTRIBUTE_HIDDEN : 0);
  return (attributes & refused) == 0 ? 1 : 0;
}

int32_t QvIsFileWritable(const WCHAR* path) {
  return ExistingFile(path, GENERIC_WRITE, kShareAll).good() ? 1 : 0;
}

int32_t QvIsFileExecutable(HANDLE file, uint16_t* machine, uint16_t* subsystem) {
  uint8_t bytes[kHeaderRead];
  const uint8_t* header = findHeader(file, bytes);
  seek(file, 0);
  if (header == nullptr) return 0;
  if (machine != nullptr) *machine = wordAt<uint16_t>(header + kMachinePlace);
  if (subsystem != nullptr) *subsystem = wordAt<uint16_t>(header + kSubsystemPlace);
  return 1;
}

HRESULT QvGetFileExecutableInfo(const WCHAR* path, uint16_t* machine, uint16_t* subsystem) {
  const ExistingFile file(path, GENERIC_READ, FILE_SHARE_READ);
  if (!file.good()) return HRESULT_FROM_WIN32(GetLastError());
  return QvIsFileExecutable(file.get(), machine, subsystem) ? qv::kOk : qv::kBadFormat;
}

HRESULT QvGetFileSizeByName(const WCHAR* path, uint64_t* size) {
  if (size == nullptr) return qv::kInvalidArgument;
  *size = 0;
  const ExistingFile file(path, 0, kShareAll);
  LARGE_INTEGER bytes;
  if (!file.good() || !GetFileSizeEx(file.get(), &bytes)) return HRESULT_FROM_WIN32(GetLastError());
  *size = static_cast<uint64_t>(bytes.QuadPart);
  return qv::kOk;
}

uint32_t QvGetDiskFreeSpace(const WCHAR* path, uint32_t unit) {
  return spaceOf(path, unit, Space::free);
}

uint32_t QvGetDiskTotalSpace(const WCHAR* path, uint32_t unit) {
  return spaceOf(path, unit, Space::total);
}

void QvGetDateTime(QVDATETIME* now) {
  constexpr uint32_t kMillisecondsEach = 10;
  SYSTEMTIME time;
  GetLocalTime(&time);
  now->date = (uint32_t{time.wMonth} << 24) | (uint32_t{time.wDay} << 16) | time.wYear;
  now->time = (uint32_t{time.wHour} << 24) | (uint32_t{time.wMinute} << 16) | (uint32_t{time.wSecond} << 8) |
              time.wMilliseconds / kMillisecondsEach;
}

uint32_t QvDosGetDateTimeUTC(const WCHAR* path) {
  FILETIME time;
  return lastWritten(path, &time) ? dosTime(time) : 0;
}

uint32_t QvDosGetDateTime(const WCHAR* path) {
  FILETIME time, local;
  return lastWritten(path, &time) && FileTimeToLocalFileTime(&time, &local) ? dosTime(local) : 0;
}

BOOL QvReadFile(HANDLE file, void* buffer, DWORD bytes, DWORD* read, OVERLAPPED* overlapped) {
  return ReadFile(file, buffer, bytes, read, overlapped);
}

HRESULT QvReadIStream(IStream* stream, void* buffer, ULONG bytes, ULONG* read) {
  return stream->Read(buffer, bytes, read);
}
