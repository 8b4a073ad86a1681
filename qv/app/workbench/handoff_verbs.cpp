// browse, mail: work given to the user's browser and mail program.

#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"
#include "qv/net/handoff.h"
#include "qv/platform/files.h"

namespace qv::workbench {
namespace {

constexpr intptr_t kWentOff = 32;  // what is above it

HRESULT runBrowse(Session& session, const Step& step) {
  const auto code = reinterpret_cast<intptr_t>(Internet_BrowseWebPage(nullptr, step.words[1].c_str()));
  if (code <= kWentOff) {
    return session.fail(kGeneralFailure, TEXT("No program here opens this address: ") + step.words[1]);
  }
  session.record({TEXT("browse"), step.words[1]});
  return kOk;
}

const WCHAR* orNull(const WString* text) {
  return text ? text->c_str() : nullptr;
}

HRESULT mailFile(Session& session, const Step& step) {
  const WString path = session.inputPath(step.words[2]);
  if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
    return session.fail(kCannotOpenFile, TEXT("There is no such file: ") + path);
  }
  return Internet_MailFile(nullptr, path.c_str(), orNull(step.option(TEXT("name"))),
                           orNull(step.option(TEXT("subject"))));
}

HRESULT mailTo(const Step& step) {
  return Internet_SendMail(nullptr, orNull(step.option(TEXT("subject"))), orNull(step.option(TEXT("name"))),
                           step.words[2].c_str());
}

HRESULT runMail(Session& session, const Step& step) {
  const WString& what = step.words[1];
  if (what != TEXT("to") && what != TEXT("file")) {
    return session.fail(kInvalidArgument, TEXT("mail takes to and an address, or file and a file."));
  }
  const HRESULT status = what == TEXT("to") ? mailTo(step) : mailFile(session, step);
  if (status == kGeneralFailure) {
    return session.fail(status, TEXT("There is no mail program here, or it failed: ") + step.words[2]);
  }
  if (SUCCEEDED(status)) session.record({TEXT("mail"), what, step.words[2]});
  return status;
}

constexpr Verb kVerbs[] = {
    {"browse", "ADDRESS", 1, 1, "", runBrowse},
    {"mail", "to ADDRESS | file FILE [name=NAME] [subject=TEXT]", 2, 2, "name subject", runMail},
};

}  // namespace

std::span<const Verb> handoffVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
