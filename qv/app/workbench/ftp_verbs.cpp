// ftp: files, sizes, listings and folders of FTP servers.

#include "qv/app/workbench/transfer.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"
#include "qv/net/inetftp.h"
#include "qv/platform/files.h"

namespace qv::workbench {
namespace {

constexpr const WCHAR* kAgent = TEXT("workbench/0.1");
constexpr const WCHAR* kNobody = TEXT("anonymous");
constexpr HRESULT kCannotConnect = static_cast<HRESULT>(0x8004e0ecu);

struct DestroyList {
  void operator()(tQVLIST* list) const { QvList_Destroy(list); }
};
using List = std::unique_ptr<tQVLIST, DestroyList>;

// One command on a server, and what it leaves.
class Command {
 public:
  Command(Session& session, const Step& step) : session_(session), step_(step) {}

  // `begin` posts it.
  template <typename Begin>
  HRESULT run(const Begin& begin) {
    if (!ftp_) return kOutOfMemory;
    const Interrupt interrupt;
    HRESULT status = ftp_->Init(kAgent, word(2), option(TEXT("user")), option(TEXT("password")));
    if (SUCCEEDED(status)) status = begin(*ftp_);
    if (SUCCEEDED(status)) status = finish(interrupt);
    return FAILED(status) ? failed(status) : kOk;
  }

  // The same for one whose result is a file here; the file's bytes are recorded.
  template <typename Begin>
  HRESULT receive(const Begin& begin) {
    const WString& name = step_.words[4];
    ReceivedFile file;
    if (const HRESULT status = file.prepare(session_.outputPath(name)); FAILED(status)) {
      return session_.fail(status, TEXT("The folder can't be made for ") + name);
    }
    HRESULT status = run([&](CQvInetFtpTELMO& ftp) { return begin(ftp, file.temporary()); });
    if (FAILED(status)) return status;
    status = file.keep();
    return FAILED(status) ? session_.fail(status, TEXT("The file can't be written: ") + name) : recordBytes();
  }

  HRESULT recordBytes() {
    int64_t moved = 0;
    ftp_->GetTransferStatus(&moved, nullptr);
    session_.record({TEXT("ftp"), step_.words[1], step_.words[3], Field(moved)});
    return kOk;
  }

  HRESULT recordDone() {
    session_.record({TEXT("ftp"), step_.words[1], step_.words[3]});
    return kOk;
  }

  HRESULT recordList() {
    for (int32_t i = 0; list_ && i < list_->itemCount; ++i) {
      const auto& file = listInline<QVFTPFILE>(list_.get(), i);
      session_.record({TEXT("ftp"), step_.words[1], file.name, Field(static_cast<int64_t>(file.size))});
    }
    return kOk;
  }

  const WCHAR* word(size_t index) const { return step_.words[index].c_str(); }
  WString input(size_t index) const { return session_.inputPath(step_.words[index]); }
  bool number(size_t index, int64_t& value) const { return parseInteger(step_.words[index], value); }
  uint32_t binary() const {
    const WString* ascii = step_.option(TEXT("ascii"));
    return ascii && *ascii != TEXT("0") ? 0 : 1;
  }
  HRESULT badNumber() {
    return session_.fail(kInvalidArgument, TEXT("A stretch is given by two whole numbers."));
  }

 private:
  const WCHAR* option(const WCHAR* name) const {
    const WString* text = step_.option(name);
    return text ? text->c_str() : kNobody;
  }

  HRESULT finish(const Interrupt& interrupt) {
    HRESULT status = awaitRequest(*ftp_, interrupt, step_.words.back());
    if (FAILED(status)) return status;
    HRESULT result = kOk;
    tQVLIST* list = nullptr;
    status = ftp_->GetRequestResult(&result, &list);
    list_.reset(list);
    return FAILED(status) ? status : result;
  }

  HRESULT failed(HRESULT status) {
    if (status == kCancelled) return session_.fail(status, TEXT("Stopped: ") + step_.words[3]);
    if (status == kCannotConnect) {
      return session_.fail(
          status, TEXT("The server can't be reached, or doesn't let this user in: ") + step_.words[2]);
    }
    return session_.fail(status, TEXT("The server, or the file here, refused: ") + step_.words[3]);
  }

  Session& session_;
  const Step& step_;
  const Counted<CQvInetFtpTELMO> ftp_{CQvInetFtpTELMO::CreateInstance()};
  List list_;
};

HRESULT get(Command& command) {
  return command.receive([&](CQvInetFtpTELMO& ftp, const WCHAR* file) {
    return ftp.GetFile(file, command.word(3), command.binary());
  });
}

HRESULT put(Command& command) {
  const WString file = command.input(3);
  const HRESULT status = command.run(
      [&](CQvInetFtpTELMO& ftp) { return ftp.PutFile(file.c_str(), command.word(4), command.binary()); });
  return FAILED(status) ? status : command.recordBytes();
}

HRESULT partial(Command& command) {
  int64_t first = 0, second = 0;
  if (!command.number(5, first) || !command.number(6, second)) return command.badNumber();
  return command.receive([&](CQvInetFtpTELMO& ftp, const WCHAR* file) {
    return ftp.GetPartialFile(file, command.word(3), first, second, command.binary());
  });
}

HRESULT size(Command& command) {
  const HRESULT status =
      command.run([&](CQvInetFtpTELMO& ftp) { return ftp.GetFileSizeInBytes(command.word(3)); });
  return FAILED(status) ? status : command.recordList();
}

HRESULT list(Command& command) {
  const HRESULT status = command.run(
      [&](CQvInetFtpTELMO& ftp) { return ftp.EnumDirectoryFiles(command.word(3), command.word(4)); });
  return FAILED(status) ? status : command.recordList();
}

// Commands that change a name there and give nothing.
template <HRESULT (CQvInetFtp::*change)(const WCHAR*)>
HRESULT changeName(Command& command) {
  const HRESULT status = command.run([&](CQvInetFtpTELMO& ftp) { return (ftp.*change)(command.word(3)); });
  return FAILED(status) ? status : command.recordDone();
}

struct Kind {
  const WCHAR* name;
  size_t words;  // behind "ftp"
  HRESULT (*run)(Command& command);
};
constexpr Kind kKinds[] = {
    {TEXT("get"), 4, get},
    {TEXT("put"), 4, put},
    {TEXT("partial"), 6, partial},
    {TEXT("size"), 3, size},
    {TEXT("list"), 4, list},
    {TEXT("mkdir"), 3, changeName<&CQvInetFtp::CreateDirectoryW>},
    {TEXT("rmdir"), 3, changeName<&CQvInetFtp::RemoveDirectoryW>},
    {TEXT("delete"), 3, changeName<&CQvInetFtp::DeleteFileW>},
};

HRESULT runFtp(Session& session, const Step& step) {
  for (const Kind& kind : kKinds) {
    if (step.words[1] != kind.name || step.words.size() != kind.words + 1) continue;
    Command command(session, step);
    return kind.run(command);
  }
  return session.fail(kInvalidArgument,
                      TEXT("ftp takes get HOST REMOTE FILE, put HOST FILE REMOTE, partial HOST REMOTE FILE ")
                          TEXT("FIRST SECOND, list HOST FOLDER PATTERN, and size, mkdir, rmdir or delete ")
                              TEXT("with HOST and REMOTE."));
}

constexpr Verb kVerbs[] = {{"ftp", "get|put|partial|list|size|mkdir|rmdir|delete HOST ARGUMENTS", 3, 6,
                            "user password ascii", runFtp}};

}  // namespace

std::span<const Verb> ftpVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
