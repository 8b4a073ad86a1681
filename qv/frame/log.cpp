#include "qv/frame/log.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/platform/times.h"
#include "qv/platform/text.h"

namespace qv {
namespace {

constexpr WCHAR kPreviousSuffix[] = TEXT(".previous");
constexpr size_t kMessageCapacity = 1024;
constexpr size_t kMostBytes = 3;     // a UTF-16 unit gives in UTF-8
constexpr size_t kSmallParts = 128;  // label, time, line end
constexpr HRESULT kNotInitialised = static_cast<HRESULT>(0x8004e01bu);

struct LevelLabel {
  LOGFLAGS level;
  const char* text;
};
constexpr LevelLabel kLabels[] = {
    {LOGFLAG_ERRORS, "ERR "},    {LOGFLAG_WARNINGS, "WARN"}, {LOGFLAG_INFORMATION, "INFO"},
    {LOGFLAG_DEBUGGING, "DBG "}, {LOGFLAG_PLAIN, ""},
};

const char* labelOf(LOGFLAGS level) {
  const auto found = std::find_if(std::begin(kLabels), std::end(kLabels),
                                  [level](const LevelLabel& each) { return each.level == level; });
  return found != std::end(kLabels) ? found->text : "????";
}

class Lock {
 public:
  explicit Lock(CRITICAL_SECTION& section) : section_(section) { EnterCriticalSection(&section_); }
  ~Lock() { LeaveCriticalSection(&section_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  CRITICAL_SECTION& section_;
};

// One line as bytes: it goes to the stream in one piece.
class Line {
 public:
  void add(const char* text) {
    const size_t count = std::min(strlen(text), sizeof(bytes_) - size_);
    memcpy(bytes_ + size_, text, count);
    size_ += count;
  }

  void add(const WCHAR* text) {
    const int room = static_cast<int>(sizeof(bytes_) - size_);
    size_ += static_cast<size_t>(std::max(
        0, WideCharToMultiByte(CP_UTF8, 0, text, lstrlenW(text), bytes_ + size_, room, nullptr, nullptr)));
  }

  bool writeTo(FILE* stream) const {
    const bool written = fwrite(bytes_, 1, size_, stream) == size_;
    if (fflush(stream) == 0 && written) return true;
    clearerr(stream);  // the next line tries anew
    return false;
  }

 private:
  char bytes_[2 * kMessageCapacity * kMostBytes + kSmallParts];
  size_t size_ = 0;
};

// Every line with a time comes by here: the two digits of each part are quicker than a format.
char* putTwo(char* at, int value, char behind) {
  *at++ = static_cast<char>('0' + value / 10 % 10);
  *at++ = static_cast<char>('0' + value % 10);
  *at++ = behind;
  return at;
}

void addTime(Line& line) {
  SYSTEMTIME now;
  GetLocalTime(&now);
  char text[32] = " ";
  char* at = text + 1;
  *at++ = static_cast<char>('0' + now.wYear / 1000 % 10);
  *at++ = static_cast<char>('0' + now.wYear / 100 % 10);
  at = putTwo(at, now.wYear, '-');
  at = putTwo(at, now.wMonth, '-');
  at = putTwo(at, now.wDay, ' ');
  at = putTwo(at, now.wHour, ':');
  at = putTwo(at, now.wMinute, ':');
  putTwo(at, now.wSecond, ' ');
  line.add(text);
}

int format(WCHAR* text, const WCHAR* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  const int length = _vsnwprintf_s(text, kMessageCapacity, _TRUNCATE, pattern, arguments);
  va_end(arguments);
  return length;
}

// Compilers differ in the slashes of __FILE__.
void addPlace(Line& line, const WCHAR* sourceFile, int32_t number) {
  const WCHAR* name = QvGetFileNamePtrW(sourceFile ? sourceFile : TEXT(""));
  if (const WCHAR* slash = wcsrchr(name, TEXT('/'))) name = slash + 1;
  WCHAR text[kMessageCapacity];
  format(text, TEXT("%15s(%4d): "), name, number);
  line.add(text);
}

}  // namespace

CLog& toolkitLog() {
  // Never destroyed: threads may write while the process ends.
  static auto* log = new CLog;
  return *log;
}

}  // namespace qv

CLog::CLog() {
  InitializeCriticalSection(&lock_);
}

CLog::~CLog() {
  Shutdown();
  DeleteCriticalSection(&lock_);
}

HRESULT CLog::Init(const WCHAR* fileName, LOGFLAGS flags, int32_t maximumSize, uint32_t shareMode) {
  const qv::Lock hold(lock_);
  constexpr size_t kLongest = MAX_PATH - std::size(qv::kPreviousSuffix);
  if (!fileName || flags == 0 || wcslen(fileName) > kLongest) return qv::kGeneralFailure;
  Shutdown();
  // A caller may open the log anew by its own name.
  memmove(fileName_, fileName, (wcslen(fileName) + 1) * sizeof(WCHAR));
  lstrcpynW(previousFileName_, fileName_, MAX_PATH);
  memcpy(previousFileName_ + wcslen(fileName_), qv::kPreviousSuffix, sizeof(qv::kPreviousSuffix));
  flags_ = flags;
  maximumSize_ = maximumSize;
  shareMode_ = shareMode;
  const HRESULT status = openFile();
  initialised_ = SUCCEEDED(status) ? 1 : 0;
  return status;
}

void CLog::Shutdown() {
  initialised_ = 0;
  if (stream_) fclose(stream_);
  stream_ = nullptr;
}

// The end is looked for at once: until something is written the position would be the start, and a file that
// is too large already would get one more line.
HRESULT CLog::openFile() {
  constexpr WCHAR kMode[] = TEXT("a+t");
  if (shareMode_ != 0) {
    stream_ = _wfsopen(fileName_, kMode, static_cast<int>(shareMode_));
  } else if (_wfopen_s(&stream_, fileName_, kMode) != 0) {
    stream_ = nullptr;
  }
  if (!stream_) return qv::kCannotOpenFile;
  fseek(stream_, 0, SEEK_END);
  return qv::kOk;
}

// Where the old file can't be moved, because someone reads it, the log goes on in it: that loses less than
// stopping.
HRESULT CLog::rotate() {
  fclose(stream_);
  stream_ = nullptr;
  _wremove(previousFileName_);
  _wrename(fileName_, previousFileName_);
  return openFile();
}

HRESULT CLog::Write(LOGFLAGS level, const WCHAR* sourceFile, int32_t line, const WCHAR* format, ...) {
  const qv::Lock hold(lock_);
  if (!initialised_) return qv::kNotInitialised;
  if ((level & flags_) == 0) return qv::kOk;
  if (maximumSize_ > 0 && ftell(stream_) >= maximumSize_) {
    if (const HRESULT status = rotate(); FAILED(status)) {
      initialised_ = 0;
      return status;
    }
  }
  va_list arguments;
  va_start(arguments, format);
  const HRESULT status = writeLine(level, sourceFile, line, format, arguments);
  va_end(arguments);
  return status;
}

HRESULT CLog::writeLine(LOGFLAGS level, const WCHAR* sourceFile, int32_t line, const WCHAR* format,
                        va_list arguments) {
  qv::Line text;
  text.add(qv::labelOf(level));
  if (flags_ & LOGFLAG_TIME) qv::addTime(text);
  if (flags_ & LOGFLAG_PLACE) qv::addPlace(text, sourceFile, line);
  WCHAR message[qv::kMessageCapacity];
  message[0] = 0;
  if (format) _vsnwprintf_s(message, qv::kMessageCapacity, _TRUNCATE, format, arguments);
  text.add(message);
  text.add("\n");
  return text.writeTo(stream_) ? qv::kOk : qv::kWriteFailed;
}

const WCHAR* CLog::GetLogFileName() const {
  return fileName_;
}
