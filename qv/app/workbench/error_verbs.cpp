// error, errors: what a status is called.
#include "qv/app/workbench/languages.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/convert.h"
#include "qv/core/printf.h"
#include "qv/frame/detail/errors.h"
#include "qv/frame/errors.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr int64_t kContexts = 0x10000;

// Line ends and tabs as in a program's text, so that a record stays one line.
WString onOneLine(WStringView text) {
  WString line;
  for (const WCHAR c : text) {
    if (c == '\n') {
      line += TEXT("\\n");
    } else if (c == '\t') {
      line += TEXT("\\t");
    } else if (c != '\r') {
      line += c;
    }
  }
  return line;
}

WString hexCode(uint32_t code) {
  WCHAR text[16] = {};
  QvCchPrintF(text, 16, nullptr, TEXT("0x%08x"), code);
  return text;
}

// A status in decimal or hexadecimal digits.
bool parseStatus(const WString& text, HRESULT& status) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const WCHAR* end = nullptr;
  if (hex) {
    status = static_cast<HRESULT>(QvHexToDWordToken(text.c_str(), &end));
    return end != nullptr && *end == 0 && text.size() <= 10;
  }
  int64_t value = 0;
  if (!parseInteger(text, value) || value < INT32_MIN || value > UINT32_MAX) return false;
  status = static_cast<HRESULT>(static_cast<uint32_t>(value));
  return true;
}

// Another language for as long as it lives.
class OtherLanguage {
 public:
  OtherLanguage(Session& session, LCID lcid) : session_(session), before_(session.language()) {
    session_.setLanguage(lcid);
  }
  ~OtherLanguage() { session_.setLanguage(before_); }
  OtherLanguage(const OtherLanguage&) = delete;
  OtherLanguage& operator=(const OtherLanguage&) = delete;

 private:
  Session& session_;
  LCID before_;
};

HRESULT runError(Session& session, const Step& step) {
  HRESULT code = 0;
  if (!parseStatus(step.words[1], code)) {
    return session.fail(kInvalidArgument, TEXT("A status is a number, as 0x8004e00a or -2147467259."));
  }
  int64_t context = 0;
  const WString* number = step.option(TEXT("context"));
  if (number != nullptr && (!parseInteger(*number, context) || context < 0 || context >= kContexts)) {
    return session.fail(kInvalidArgument, TEXT("A context is a number from 0 to 65535."));
  }
  LCID lcid = session.language();
  const WString* language = step.option(TEXT("language"));
  if (language != nullptr && (!parseLcid(*language, lcid) || !hasTexts(lcid))) {
    return session.fail(kNotFound, TEXT("There are no texts in the language ") + *language + TEXT("."));
  }
  const WString* argument = step.option(TEXT("argument"));
  const OtherLanguage other(session, lcid);
  const WCHAR* message = QvErrorHandler_GetErrorMessage(QVERRORCONTEXT(context), code,
                                                        argument != nullptr ? argument->c_str() : nullptr);
  session.record({TEXT("error"), hexCode(static_cast<uint32_t>(code)), onOneLine(message)});
  return kOk;
}

HRESULT runErrors(Session& session, const Step&) {
  for (const StatusRow& row : statusTable()) {
    const WCHAR* text = QvErrorHandler_GetHresultString(static_cast<HRESULT>(row.code));
    session.record({TEXT("status"), hexCode(row.code), onOneLine(text)});
  }
  for (const ContextRow& row : contextTable()) {
    const WCHAR* text = QvErrorHandler_GetContextString(QVERRORCONTEXT(row.context));
    session.record({TEXT("context"), row.context, onOneLine(text)});
  }
  return kOk;
}

constexpr Verb kVerbs[] = {
    {"error", "CODE [context=N] [argument=TEXT] [language=LCID]", 1, 1, "context argument language", runError},
    {"errors", "", 0, 0, "", runErrors},
};

}  // namespace

std::span<const Verb> errorVerbs() { return kVerbs; }

}  // namespace qv::workbench
