// report: what machine this is, and which of the maker's products are installed on it, as an XML file.

#include <algorithm>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/log.h"
#include "qv/frame/status.h"
#include "qv/net/report_sender.h"
#include "qv/settings/configmgr.h"

namespace qv::workbench {
namespace {

struct Part {
  const WCHAR* word;
  uint32_t flag;
};
constexpr Part kParts[] = {{TEXT("products"), QVCONFIG_PRODUCTS}, {TEXT("machine"), QVCONFIG_MACHINE}};

// The flags that the words behind the file name ask for; false for another word.
bool readParts(const Step& step, uint32_t& flags) {
  for (size_t i = 2; i < step.words.size(); ++i) {
    const auto part = std::find_if(std::begin(kParts), std::end(kParts),
                                   [&](const Part& each) { return step.words[i] == each.word; });
    if (part == std::end(kParts)) return false;
    flags |= part->flag;
  }
  return true;
}

HRESULT makeReport(const WCHAR* user, uint32_t flags, std::string& bytes) {
  IQvConfigMgr* manager = nullptr;
  HRESULT status = CQvConfigMgr::CreateInstance(&manager);
  if (FAILED(status)) return status;
  uint32_t size = 0;
  void* block = nullptr;
  status = manager->GetConfigXml(user, flags, &size, &block);
  if (SUCCEEDED(status)) bytes.assign(static_cast<const char*>(block), size);
  CoTaskMemFree(block);
  manager->Release();
  return status;
}

// A key of this run's own, since the sender reads where to from an application's key.
class SenderKey {
 public:
  SenderKey() {
    path_ = TEXT("Software\\Halden Media Works\\Workbench\\Report ") +
            Field(static_cast<int64_t>(GetCurrentProcessId())).text;
    RegCreateKeyW(HKEY_CURRENT_USER, path_.c_str(), &key_);
  }
  ~SenderKey() {
    if (key_ == nullptr) return;
    RegCloseKey(key_);
    RegDeleteKeyW(HKEY_CURRENT_USER, path_.c_str());
  }
  SenderKey(const SenderKey&) = delete;
  SenderKey& operator=(const SenderKey&) = delete;

  HKEY get() const { return key_; }
  bool set(const WCHAR* name, const WString& text) const {
    return key_ != nullptr &&
           RegSetValueExW(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR))) == ERROR_SUCCESS;
  }

 private:
  WString path_;
  HKEY key_ = nullptr;
};

HRESULT sendReport(Session& session, const WString& address, const WString* user, uint32_t flags) {
  const SenderKey key;
  if (!key.set(TEXT("RegConfig"), address) || (user != nullptr && !key.set(TEXT("RegUserName"), *user))) {
    return session.fail(kGeneralFailure, TEXT("The registry didn't take the server's address."));
  }
  bool delivered = false;
  const HRESULT status = sendConfigReport(key.get(), flags, &delivered);
  if (FAILED(status)) return session.fail(status, TEXT("The report could not be sent to ") + address);
  session.record({TEXT("report"), address, delivered ? TEXT("delivered") : TEXT("no answer in time")});
  return kOk;
}

// The toolkit's log, in which the sender tells how it went, open for one step.
class StepLog {
 public:
  HRESULT open(const WString& path) {
    makeFolder(WString(folderOf(path)));
    return toolkitLog().Init(path.c_str(), LOGFLAG_ERRORS | LOGFLAG_WARNINGS | LOGFLAG_INFORMATION, -1,
                             _SH_DENYWR);
  }
  ~StepLog() { toolkitLog().Shutdown(); }
};

HRESULT runReport(Session& session, const Step& step) {
  uint32_t flags = 0;
  if (!readParts(step, flags)) {
    return session.fail(kInvalidArgument, TEXT("A report takes the words products and machine."));
  }
  const WString* user = step.option(TEXT("user"));
  std::string bytes;
  HRESULT status = makeReport(user != nullptr ? user->c_str() : nullptr, flags, bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The report could not be made."));
  const WString path = session.outputPath(step.words[1]);
  status = writeFile(path, bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The report could not be written: ") + path);
  session.record({TEXT("report"), step.words[1], static_cast<int64_t>(bytes.size())});
  const WString* address = step.option(TEXT("post"));
  if (address == nullptr) return kOk;
  StepLog log;
  const WString* logFile = step.option(TEXT("log"));
  if (logFile != nullptr) status = log.open(session.outputPath(*logFile));
  if (FAILED(status)) return session.fail(status, TEXT("The log could not be opened: ") + *logFile);
  return sendReport(session, *address, user, flags);
}

constexpr Verb kVerbs[] = {
    {"report", "FILE [products] [machine] [user=NAME] [post=URL] [log=FILE]", 1, 3, "user post log",
     runReport},
};

}  // namespace

std::span<const Verb> reportVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
