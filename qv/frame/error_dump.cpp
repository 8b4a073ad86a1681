// Exceptions and memory as text. All of it may run in a process that is about to end: nothing is allocated,
// and digits are written here, since a run-time's %p is spelled differently on each system.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "qv/frame/detail/msgbox.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/errors.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr HRESULT kException = static_cast<HRESULT>(0x8004e017u);
constexpr DWORD kDatatypeMisalignment = 0x80000002;
constexpr int32_t kRoomForLine = 50;  // with less than this nothing more is begun
constexpr int32_t kDumpBytes = 4096;

struct ExceptionName {
  DWORD code;
  std::string_view name;
};
constexpr ExceptionName kExceptionNames[] = {
    {0x80000001, "guard page violation"},
    {0x80000002, "datatype misalignment"},
    {0x80000003, "breakpoint"},
    {0x80000004, "single step"},
    {0xc0000005, "access violation"},
    {0xc0000006, "in page error"},
    {0xc0000008, "invalid handle"},
    {0xc0000017, "no memory"},
    {0xc000001d, "illegal instruction"},
    {0xc0000025, "noncontinuable exception"},
    {0xc0000026, "invalid disposition"},
    {0xc000008c, "array bounds exceeded"},
    {0xc000008d, "float denormal operand"},
    {0xc000008e, "float divide by zero"},
    {0xc000008f, "float inexact result"},
    {0xc0000090, "float invalid operation"},
    {0xc0000091, "float overflow"},
    {0xc0000092, "float stack check"},
    {0xc0000093, "float underflow"},
    {0xc0000094, "integer divide by zero"},
    {0xc0000095, "integer overflow"},
    {0xc0000096, "privileged instruction"},
    {0xc00000fd, "stack overflow"},
    {0xc000013a, "control+c exit"},
};

std::string_view nameOf(DWORD code) {
  const auto row = std::find_if(std::begin(kExceptionNames), std::end(kExceptionNames),
                                [code](const ExceptionName& each) { return each.code == code; });
  return row != std::end(kExceptionNames) ? row->name : "Unknown Type";
}

// A buffer of 8-bit text that is filled from the left and stays terminated.
class Dump {
 public:
  Dump(char* buffer, int32_t size) : begin_(buffer), next_(buffer), end_(buffer + std::max(size, 0)) {
    if (next_ != end_) *next_ = 0;
  }
  Dump& operator<<(std::string_view text) {
    if (left() == 0) return *this;
    next_ = std::copy_n(text.data(), std::min<size_t>(text.size(), static_cast<size_t>(left()) - 1), next_);
    *next_ = 0;
    return *this;
  }
  // Upper case, with zeros in front up to `width`.
  Dump& hex(uint64_t value, int width) {
    char digits[16];
    char* first = std::end(digits);
    do {
      *--first = "0123456789ABCDEF"[value & 15];
      value >>= 4;
    } while (value != 0);
    for (; std::end(digits) - first < width; *--first = '0') {
    }
    return *this << std::string_view(first, static_cast<size_t>(std::end(digits) - first));
  }
  Dump& address(const void* place) { return hex(reinterpret_cast<uintptr_t>(place), 16); }
  int32_t left() const { return static_cast<int32_t>(end_ - next_); }
  bool full() const { return left() < kRoomForLine; }
  int32_t written() const { return static_cast<int32_t>(next_ - begin_); }

 private:
  char* begin_;
  char* next_;
  char* end_;
};

void dumpRecord(Dump& out, const EXCEPTION_RECORD& record) {
  constexpr ULONG_PTR kWrite = 1;
  out << "Exception 0x";
  out.hex(record.ExceptionCode, 1) << " (" << nameOf(record.ExceptionCode) << ")";
  if (record.NumberParameters == 2) {
    out << (record.ExceptionInformation[0] == kWrite ? " WRITE" : " READ") << ":0x";
    out.hex(record.ExceptionInformation[1], 16);
  }
  out << " IP:0x";
  out.address(record.ExceptionAddress) << "\r\n";
}

void dumpModule(Dump& out, const void* place) {
  MEMORY_BASIC_INFORMATION where = {};
  if (VirtualQuery(place, &where, sizeof(where)) != sizeof(where) || !where.AllocationBase) return;
  char path[MAX_PATH + 1] = {};
  if (!GetModuleFileNameA(static_cast<HMODULE>(where.AllocationBase), path, MAX_PATH)) return;
  const uint64_t offset =
      reinterpret_cast<uintptr_t>(place) - reinterpret_cast<uintptr_t>(where.AllocationBase);
  out << "In Module '" << path << "' at Address 0x";
  out.address(where.AllocationBase) << " + 0x";
  out.hex(offset, 16) << "\r\n";
}

void dumpThread(Dump& out, const char* name) {
  out << "Thread: " << (name ? name : "") << " ID=0x";
  out.hex(GetCurrentThreadId(), 1) << " Stack=\r\n";
}

constexpr int32_t kBytesPerLine = 8, kWordsPerLine = 4;

bool readable(const void* place, size_t bytes) {
  return !IsBadReadPtr(place, bytes);
}

void dumpBytes(Dump& out, const uint8_t* line, int32_t count) {
  char text[kBytesPerLine];
  out << " ";
  out.address(line) << ": ";
  for (int32_t i = 0; i < kBytesPerLine; ++i) {
    if (i >= count) {
      out << "   ";
    } else if (!readable(line + i, 1)) {
      text[i] = '.';
      out << ".. ";
    } else {
      text[i] = line[i] >= 0x20 && line[i] <= 0x7e ? static_cast<char>(line[i]) : '.';
      out.hex(line[i], 2) << " ";
    }
  }
  out << std::string_view(text, static_cast<size_t>(std::min(count, kBytesPerLine))) << "\r\n";
}

void dumpWords(Dump& out, const uint8_t* line, int32_t count) {
  out << " ";
  out.address(line) << ": ";
  for (int32_t i = 0; i < std::min(count, kWordsPerLine); ++i) {
    uint32_t word = 0;
    const uint8_t* place = line + static_cast<size_t>(i) * sizeof(word);
    if (!readable(place, sizeof(word))) {
      out << "........ ";
      continue;
    }
    memcpy(&word, place, sizeof(word));
    out.hex(word, 8) << " ";
  }
  out << "\r\n";
}

void addDumpToDetails(const char* dump) {
  WCHAR text[kDumpBytes];
  if (MultiByteToWideChar(CP_ACP, 0, dump, -1, text, kDumpBytes) == 0) text[0] = 0;
  QvErrorHandler_DetailsAddString(kException, TEXT("%s"), text);
}

}  // namespace
}  // namespace qv

using namespace qv;

int32_t QvErrorHandler_DumpExceptionRecord(char* buffer, int32_t size, const char* threadName,
                                           EXCEPTION_POINTERS* pointers, uint32_t parts) {
  ErrorReport_UnmanagedException(pointers);
  if (parts == 0) parts = ~0u;
  Dump out(buffer, size);
  const EXCEPTION_RECORD* record = pointers ? pointers->ExceptionRecord : nullptr;
  if (record && (parts & QVEXCEPTION_RECORD)) {
    dumpRecord(out, *record);
    if (out.full()) return out.written();
  }
  if (record && (parts & QVEXCEPTION_MODULE)) {
    dumpModule(out, record->ExceptionAddress);
    if (out.full()) return out.written();
  }
  if (parts & QVEXCEPTION_THREAD) dumpThread(out, threadName);
  return out.written();
}

int32_t QvErrorHandler_ExceptionFilter(EXCEPTION_POINTERS* pointers, const char* threadName) {
  if (pointers->ExceptionRecord->ExceptionCode == kDatatypeMisalignment) return EXCEPTION_CONTINUE_SEARCH;
  char dump[kDumpBytes];
  QvErrorHandler_DumpExceptionRecord(dump, kDumpBytes, threadName, pointers, 0);
  if (IsDebuggerPresent()) return EXCEPTION_CONTINUE_SEARCH;
  QvErrorHandler_DetailsInit();
  QvErrorHandler_DetailsAddString(kException, TEXT("%s"), msgBoxAppData().applicationName);
  addDumpToDetails(dump);
  QvErrorHandler_MsgBoxText(QVMSGBOX_NOPARENT, QVMSGBOX_EXCLAMATION,
                            QvErrorHandler_GetErrorMessage(nullptr, kException, nullptr), 0);
  return EXCEPTION_EXECUTE_HANDLER;
}

int32_t QvErrorHandler_DumpHex(char* buffer, int32_t size, const void* data, int32_t byteCount) {
  Dump out(buffer, size);
  const auto* bytes = static_cast<const uint8_t*>(data);
  int32_t at = 0;
  do {
    if (out.full()) break;
    dumpBytes(out, bytes + at, byteCount - at);
    at += kBytesPerLine;
  } while (at < byteCount && at > 0);
  return out.written();
}

int32_t QvErrorHandler_DumpHexDWords(char* buffer, int32_t size, const void* data, int32_t wordCount) {
  Dump out(buffer, size);
  const auto* words = static_cast<const uint8_t*>(data);
  for (int32_t at = 0; at < wordCount && !out.full(); at += kWordsPerLine) {
    dumpWords(out, words + static_cast<size_t>(at) * sizeof(uint32_t), wordCount - at);
  }
  return out.written();
}
