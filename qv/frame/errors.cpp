#include "qv/frame/errors.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "qv/core/printf.h"
#include "qv/frame/detail/errors.h"
#include "qv/frame/msgbox.h"
#include "qv/frame/status.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr uint32_t kMessageCapacity = QVERROR_MESSAGE_CAPACITY;
constexpr uint32_t kFullMessage = 1948;  // from here on a context leaves no room for a reason
constexpr uint32_t kDetailsCapacity = QVERROR_DETAILS_CAPACITY;
constexpr uint32_t kLinkCapacity = 2083;
constexpr uint32_t kPrefixCapacity = 50;
constexpr uint32_t kMissingCapacity = 100;
constexpr uintptr_t kFirstAddress = 0x10000;  // below: a number in a pointer's place

struct ErrorState {
  HRESULT lastError;
  WCHAR message[kMessageCapacity];
  DWORD detailsThread;
  uint32_t detailsCount;
  WCHAR details[kDetailsCapacity];
  WCHAR linkTarget[kLinkCapacity];
  WCHAR linkText[kMessageCapacity];
};

struct ErrorTable {
  const void* rows;
  int32_t rowCount;
  HQVLANG language;
};
constexpr int32_t kMostTables = 32;

ErrorState state;
WCHAR scratch[kDetailsCapacity];
ErrorTable tables[kMostTables];
int32_t tableCount;

// One lock for all of the above. Recursive, since the exception filter runs on whichever thread faulted, even
// in here.
std::recursive_mutex& stateLock() {
  static auto* lock = new std::recursive_mutex;  // never destroyed: the last words may be an error's
  return *lock;
}
using StateLock = std::lock_guard<std::recursive_mutex>;

// Copies what fits; a surrogate pair stays whole.
void copyText(WCHAR* to, uint32_t capacity, const WCHAR* from) {
  size_t length = std::min<size_t>(wcslen(from), capacity - 1);
  if (from[length] != 0 && length > 0 && (from[length - 1] & 0xfc00) == 0xd800) --length;
  std::copy_n(from, length, to);
  to[length] = 0;
}

// Formats a text of a table. It is to have no arguments; should it ask for some all the same, empty texts are
// there to be found.
void formatReason(WCHAR* to, uint32_t capacity, const WCHAR* format, const WCHAR* argument) {
  const WCHAR* none = kEmptyText;
  QvCchPrintF(to, capacity, nullptr, format, argument ? argument : none, none, none, none, none);
}

const WCHAR* textOf(HQVLANG language, const void* text) {
  return QvGetStringSmart(language, static_cast<const WCHAR*>(text));
}

// The two shapes of a row differ in name only: a number stands where a pointer would.
const WCHAR* registeredText(const ErrorTable& table, const _qverror_table& row) {
  return textOf(table.language ? table.language : kernelLanguage, row.text);
}

const WCHAR* findRegistered(HRESULT code) {
  for (const ErrorTable& table : std::span(tables, static_cast<size_t>(tableCount))) {
    const auto* rows = static_cast<const _qverror_table*>(table.rows);
    const auto* end = rows + table.rowCount;
    const auto* row =
        std::find_if(rows, end, [code](const _qverror_table& each) { return each.code == code; });
    if (row != end) return registeredText(table, *row);
  }
  return nullptr;
}

int32_t addTable(const void* rows, int32_t rowCount, HQVLANG language) {
  const StateLock hold(stateLock());
  if (tableCount == kMostTables) return 1;
  tables[tableCount++] = {rows, rows ? std::max(rowCount, 0) : 0, language};
  return 0;
}

const WCHAR* reasonOf(HRESULT code, WCHAR (&missing)[kMissingCapacity]) {
  if (const WCHAR* reason = QvErrorHandler_GetHresultString(code)) return reason;
  QvCchPrintF(missing, kMissingCapacity, nullptr, QvGetString(kernelLanguage, kTextErrorMessageMissing),
              code);
  return missing;
}

void compose(WCHAR (&message)[kMessageCapacity], const WCHAR* context, HRESULT code, const WCHAR* argument) {
  formatReason(message, kMessageCapacity, QvErrorHandler_GetContextString(context), argument);
  const auto length = static_cast<uint32_t>(wcslen(message));
  if (length >= kFullMessage) return;
  WCHAR missing[kMissingCapacity];
  formatReason(message + length, kMessageCapacity - length, reasonOf(code, missing), nullptr);
}

// Whether the calling thread may add details for `code`; the first one to ask may.
bool mayAdd(HRESULT code) {
  const DWORD self = GetCurrentThreadId();
  if (state.detailsThread == 0) state.detailsThread = self;
  return state.detailsThread == self || state.lastError == code;
}

HRESULT appendDetails(HRESULT code, const WCHAR* text) {
  constexpr size_t kLineEnd = 2;
  const size_t before = wcslen(state.details), length = wcslen(text);
  if (before + length + kLineEnd >= kDetailsCapacity) return kGeneralFailure;
  WCHAR* to = std::copy_n(text, length, state.details + before);
  std::copy_n(TEXT("\r\n"), kLineEnd + 1, to);
  ++state.detailsCount;
  state.lastError = code;
  return kOk;
}

WCHAR* append(WCHAR* to, const WCHAR* text) {
  return std::copy_n(text, wcslen(text), to);
}

constexpr const WCHAR* kDetailsBegin = TEXT("\r\n<Details>\r\n");
constexpr const WCHAR* kDetailsEnd = TEXT("\r\n</Details>");
constexpr size_t kDetailsFrame = 26;

BSTR withDetails(const WCHAR* message) {
  if (state.details[0] == 0) return SysAllocString(message);
  const size_t length = wcslen(message) + wcslen(state.details) + kDetailsFrame;
  BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(length));
  if (!text) return nullptr;
  WCHAR* end = append(append(append(append(text, message), kDetailsBegin), state.details), kDetailsEnd);
  std::fill(end, text + length + 1, WCHAR(0));
  return text;
}

// What a box shows, taken out of the state before that is cleared: the box may stay up for long.
struct BoxDetails {
  WCHAR text[kDetailsCapacity];
};
struct BoxLink {
  WCHAR target[kLinkCapacity];
  WCHAR text[kMessageCapacity];
};

template <typename Copy>
class Taken {
 public:
  explicit Taken(bool wanted)
      : copy_(wanted ? static_cast<Copy*>(platform::runtimeMalloc(sizeof(Copy))) : nullptr) {}
  ~Taken() { std::free(copy_); }
  Taken(const Taken&) = delete;
  Taken& operator=(const Taken&) = delete;
  Copy* get() const { return copy_; }

 private:
  Copy* copy_;
};

struct BoxContents {
  Taken<BoxDetails> details;
  Taken<BoxLink> link;

  BoxContents() : details(state.details[0] != 0), link(true) {
    if (details.get()) copyText(details.get()->text, kDetailsCapacity, state.details);
    if (!link.get()) return;
    copyText(link.get()->target, kLinkCapacity, state.linkTarget);
    copyText(link.get()->text, kMessageCapacity, state.linkText);
  }
};

const WCHAR* orNull(const WCHAR* text) {
  return *text ? text : nullptr;
}

int32_t showContents(HWND window, uint32_t flags, const BoxContents& contents, const WCHAR* text) {
  const WCHAR* details = contents.details.get() ? contents.details.get()->text : nullptr;
  flags &= ~QVMSGBOX_DETAILS;
  if (details) flags |= QVMSGBOX_DETAILS;
  const BoxLink* link = contents.link.get();
  if (!link) return QvMsgBox_CustomF(window, flags, details, TEXT("%s"), text);
  return QvMsgBox_CustomExLinkF(window, flags, details, nullptr, nullptr, nullptr, orNull(link->target),
                                orNull(link->text), TEXT("%s"), text);
}

// The state's contents leave it with the lock held; the box is shown without.
BoxContents takeContents() {
  const StateLock hold(stateLock());
  struct Clear {
    ~Clear() { state = {}; }
  } const clear;
  return BoxContents();
}

}  // namespace

void resetErrors() {
  const StateLock hold(stateLock());
  state = {};
  tableCount = 0;
}

}  // namespace qv

using namespace qv;

HRESULT QvErrorHandler_GetLastError() {
  const StateLock hold(stateLock());
  return state.lastError;
}

HRESULT QvErrorHandler_DetailsInit() {
  const StateLock hold(stateLock());
  state = {};
  return kOk;
}

HRESULT QvErrorHandler_DetailsAddString(HRESULT code, const WCHAR* format, ...) {
  const StateLock hold(stateLock());
  if (!mayAdd(code)) return kGeneralFailure;
  if (!format) return kNullPointer;
  if (!wcschr(format, TEXT('$')) && !wcschr(format, TEXT('%'))) return appendDetails(code, format);
  va_list arguments;
  va_start(arguments, format);
  QvNVPrintF(scratch, kDetailsCapacity, nullptr, format, arguments);
  va_end(arguments);
  return appendDetails(code, scratch);
}

const WCHAR* QvErrorHandler_DetailsInfo(HRESULT* code, uint32_t* count, DWORD* thread) {
  const StateLock hold(stateLock());
  if (code) *code = state.lastError;
  if (count) *count = state.detailsCount;
  if (thread) *thread = state.detailsThread;
  return orNull(state.details);
}

HRESULT QvErrorHandler_DetailsSetHyperlink(const WCHAR* target, const WCHAR* text) {
  if (!target || !text) return kNullPointer;
  const StateLock hold(stateLock());
  copyText(state.linkTarget, kLinkCapacity, target);
  copyText(state.linkText, kMessageCapacity, text);
  return kOk;
}

const WCHAR* QvErrorHandler_GetErrorMessage(const WCHAR* context, HRESULT code, const WCHAR* argument) {
  const StateLock hold(stateLock());
  compose(state.message, context, code, argument);
  return state.message;
}

BSTR QvErrorHandler_ComposeErrorText(const WCHAR* context, HRESULT code, const WCHAR* argument) {
  const StateLock hold(stateLock());
  return withDetails(QvErrorHandler_GetErrorMessage(context, code, argument));
}

const WCHAR* QvErrorHandler_GetHresultString(HRESULT code) {
  const StateLock hold(stateLock());
  if (const WCHAR* text = findRegistered(code)) return text;
  const auto wanted = static_cast<uint32_t>(code);
  for (const StatusRow& row : statusTable()) {
    if (row.code == wanted) return textOf(kernelLanguage, row.text);
  }
  return nullptr;
}

const WCHAR* QvErrorHandler_GetContextString(const WCHAR* context) {
  const auto number = reinterpret_cast<uintptr_t>(context);
  if (number >= kFirstAddress) return context;
  const auto rows = contextTable();
  const auto row = std::find_if(rows.begin(), rows.end(),
                                [number](const ContextRow& each) { return each.context == number; });
  return textOf(kernelLanguage, row != rows.end() ? row->text : rows.front().text);
}

int32_t QvErrorHandler_AddErrorTable(const _qverror_table* table, int32_t rowCount) {
  return addTable(table, rowCount, nullptr);
}

int32_t QvErrorHandler_AddErrorTable(HQVLANG language, const _qverror_table_rcid* table, int32_t rowCount) {
  return addTable(table, rowCount, language);
}

int32_t QvErrorHandler_MsgBox(HWND window, uint32_t flags, const WCHAR* context, HRESULT code,
                              const WCHAR* argument, int32_t warning) {
  if (code == kCancelled) return QVANSWER_OK;
  WCHAR message[kMessageCapacity];
  compose(message, context, code, argument);
  return QvErrorHandler_MsgBoxText(window, flags, message, warning);
}

int32_t QvErrorHandler_MsgBoxText(HWND window, uint32_t flags, const WCHAR* text, int32_t warning) {
  // A copy: the text may be the state's own message.
  WCHAR shown[kPrefixCapacity + kMessageCapacity];
  shown[0] = 0;
  if (warning) QvLoadString(kernelLanguage, kTextWarning, shown, kPrefixCapacity);
  const auto prefix = static_cast<uint32_t>(wcslen(shown));
  copyText(shown + prefix, kMessageCapacity, text ? text : kEmptyText);
  return showContents(window, flags, takeContents(), shown);
}
