// A text log: one line a call, with level, time and place as wished, whole lines from any number of threads,
// and one older file beside the present one.
//
//   CLog log;
//   log.Init(TEXT("C:\\logs\\editor.log"), LOGFLAG_ERRORS | LOGFLAG_WARNINGS | LOGFLAG_TIME, 1 << 20,
//   _SH_DENYWR); log.Write(LOGFLAG_WARNINGS, TEXT(__FILE__), __LINE__, TEXT("%d of %d frames dropped"),
//   dropped, total);
//
// writes "WARN 2024-05-17 09:30:12 17 of 1000 frames dropped" and a line end. Files are UTF-8. Each line
// reaches the system before the call returns, so that a crash loses nothing.
#pragma once

#include <cstdint>

#include "qv/api.h"
#include "qv/platform/base.h"
#include "qv/platform/stdio.h"
#include "qv/platform/sync.h"

// Levels, and what is written in front of the text. As flags of Init they say what is on.
enum LOGFLAGS : uint32_t {
  LOGFLAG_ERRORS = 1,
  LOGFLAG_WARNINGS = 2,
  LOGFLAG_INFORMATION = 4,
  LOGFLAG_DEBUGGING = 8,
  LOGFLAG_PLAIN = 16,  // a level without a label
  LOGFLAG_TIME = 0x10000,
  LOGFLAG_PLACE = 0x20000,  // source file and line
};
constexpr LOGFLAGS operator|(LOGFLAGS a, LOGFLAGS b) {
  return static_cast<LOGFLAGS>(static_cast<uint32_t>(a) | static_cast<uint32_t>(b));
}

class CLog {
 public:
  QV_API CLog();
  QV_API virtual ~CLog();
  CLog(const CLog&) = delete;
  CLog& operator=(const CLog&) = delete;

  // Opens the log, adding to a file that is there; an open one is closed first.
  //   fileName   with path; at most 250 characters, since the older file's name is this one with ".previous"
  //   behind it flags      the levels that are written, and the decorations maximumSize  bytes from which on
  //   the next line goes to a fresh file and the old one becomes the older; 0 or
  //              less: no limit. Two files then hold about twice as much at most.
  //   shareMode  what others may do with the file meanwhile, a _SH_ value of _wfsopen; 0: nothing
  // 0; 0x80004005 for a null or too long name or no flags; 0x8004e007 when the file can't be opened. Any
  // thread.
  QV_API HRESULT Init(const WCHAR* fileName, LOGFLAGS flags, int32_t maximumSize, uint32_t shareMode);

  // Closes the log; it may be opened again. No other thread may be writing.
  QV_API void Shutdown();

  // Writes one line: a null source file is an empty one; the text is cut after 1023 characters. format: the C
  // library's with wide "%s", no locale, "$" is a character as any other; null is empty.
  // 0, also when the level is off and nothing is written; 0x8004e01b when the log isn't open; 0x8004e009 when
  // the disk didn't take the line; what Init gives when no fresh file could be opened, and the log is closed
  // then. Any thread, also one that holds locks of its own: nothing is called back from here.
  QV_API HRESULT Write(LOGFLAGS level, const WCHAR* sourceFile, int32_t line, const WCHAR* format, ...);

  // The file's name; empty before Init. Good until the next Init.
  QV_API const WCHAR* GetLogFileName() const;

 private:
  HRESULT openFile();
  HRESULT rotate();
  HRESULT writeLine(LOGFLAGS level, const WCHAR* sourceFile, int32_t line, const WCHAR* format,
                    va_list arguments);

  int32_t initialised_ = 0;
  FILE* stream_ = nullptr;
  uint32_t flags_ = 0;
  int32_t maximumSize_ = -1;
  WCHAR fileName_[MAX_PATH] = {};
  WCHAR previousFileName_[MAX_PATH] = {};
  CRITICAL_SECTION lock_;
  uint32_t shareMode_ = 0;
};
static_assert(sizeof(CLog) == 1120);

namespace qv {

// The toolkit's own log, which the internet clients write to. It is silent until an application calls Init on
// it, and lives to the end of the process. Any thread.
QV_API CLog& toolkitLog();

}  // namespace qv
