// report: what machine this is, and which of the maker's products are installed on it, as an XML file.

#include <algorithm>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"
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
  return kOk;
}

constexpr Verb kVerbs[] = {
    {"report", "FILE [products] [machine] [user=NAME]", 1, 3, "user", runReport},
};

}  // namespace

std::span<const Verb> reportVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
