// What the FTP client's commands do, on the worker.
#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "qv/core/printf.h"
#include "qv/net/detail/ftp_work.h"

namespace qv::net {
namespace {

constexpr uint32_t kBlock = 0x20000;
constexpr uint32_t kChunk = 8192;
constexpr uint32_t kListOptions = kListFreeThreaded | kListInline;
// 140 MB. No folder that people keep has more; a server that never ends its listing does.
constexpr size_t kMostFiles = 1 << 18;

// A remote file; closing ends its transfer.
class RemoteFile {
 public:
  explicit RemoteFile(HINTERNET handle = nullptr) : handle_(handle) {}
  ~RemoteFile() { close(); }
  RemoteFile(const RemoteFile&) = delete;
  RemoteFile& operator=(const RemoteFile&) = delete;
  explicit operator bool() const { return handle_ != nullptr; }
  HINTERNET get() const { return handle_; }
  HINTERNET* out() { return &handle_; }
  bool close() {
    const HINTERNET handle = std::exchange(handle_, nullptr);
    return !handle || InternetCloseHandle(handle);
  }

 private:
  HINTERNET handle_;
};

// 0 when the server doesn't say.
uint64_t sizeOf(HINTERNET remote) {
  DWORD high = 0;
  const DWORD low = FtpGetFileSize(remote, &high);
  if (high == 0 && low >= 0xfffffffeu) return 0;
  return uint64_t{high} << 32 | low;
}

// Why a listing ends that has nothing more, or nothing at all. (Wine says nothing then.)
bool isEndOfListing(DWORD error) {
  return error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND || error == ERROR_SUCCESS;
}

QVFTPFILE entryOf(const WCHAR* name, uint64_t size) {
  QVFTPFILE entry = {};
  lstrcpynW(entry.name, name, static_cast<int>(std::size(entry.name)));
  entry.size = size;
  return entry;
}

struct DestroyList {
  void operator()(tQVLIST* list) const { QvList_Destroy(list); }
};
using List = std::unique_ptr<tQVLIST, DestroyList>;

// Null without memory. -1 for the usual sizes. All entries at once: one by one, a list of many would be moved
// again and again.
List makeList(int32_t items, std::span<const QVFTPFILE> entries) {
  tQVLIST* made = nullptr;
  QvList_CreateExZ(&made, sizeof(QVFTPFILE), items, items, kListOptions, 0, 0, 0);
  List list(made);
  if (!list || entries.empty()) return list;
  const auto count = static_cast<int32_t>(entries.size());
  return SUCCEEDED(QvList_InsertList(made, -1, entries.data(), count)) ? std::move(list) : nullptr;
}

}  // namespace

void FtpWork::disconnect(CQvInetFtp& client) {
  if (client.connection_) InternetCloseHandle(client.connection_);
  client.connection_ = nullptr;
}

bool FtpWork::connect(HINTERNET session) {
  if (client.connection_) return true;
  const FtpLogin& login = *client.login_;
  client.connection_ =
      InternetConnectW(session, login.host.c_str(), INTERNET_DEFAULT_FTP_PORT, login.user.c_str(),
                       login.password.c_str(), INTERNET_SERVICE_FTP, 0, reinterpret_cast<DWORD_PTR>(&client));
  return client.connection_ != nullptr;
}

DWORD FtpWork::transferFlags() const {
  return arguments.binary ? FTP_TRANSFER_TYPE_BINARY : FTP_TRANSFER_TYPE_ASCII;
}

HRESULT FtpWork::run(HINTERNET session, uint32_t command) {
  const auto refused = [](BOOL done) { return done ? kOk : kGeneralFailure; };
  const WCHAR* const name = arguments.first.c_str();
  HRESULT status = kCannotConnect;
  if (connect(session) && !isCancelled()) {
    switch (command) {
      case kPutFile:
        status = putFile();
        break;
      case kGetFile:
        status = getFile();
        break;
      case kGetPartialFile:
        status = getPartialFile();
        break;
      case kGetFileSize:
        status = getFileSize();
        break;
      case kEnumDirectory:
        status = enumDirectory();
        break;
      case kCreateDirectory:
        status = refused(FtpCreateDirectoryW(connection(), name));
        break;
      case kRemoveDirectory:
        status = refused(FtpRemoveDirectoryW(connection(), name));
        break;
      default:
        status = refused(FtpDeleteFileW(connection(), name));
    }
  }
  return isCancelled() ? kCancelled : status;
}

// ---- Storing

HRESULT FtpWork::putFile() {
  RemoteFile remote(FtpOpenFileW(connection(), arguments.second.c_str(), GENERIC_WRITE,
                                 INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | transferFlags(), 0));
  if (!remote) return kCannotOpenFile;
  const LocalFile local = LocalFile::toRead(arguments.first.c_str());
  if (!local.isOpen()) return kCannotOpenFile;
  const HRESULT status = sendFile(local, remote.get());
  // The server says at the end whether it has all of it.
  const bool stored = remote.close();
  return status == kOk && !stored ? kWriteFailed : status;
}

HRESULT FtpWork::sendFile(const LocalFile& local, HINTERNET remote) {
  if (const int64_t size = local.size(); size >= 0) client.SetTotalBytesToTransfer(size);
  std::vector<uint8_t> block(kBlock);
  for (;;) {
    DWORD filled = 0;
    if (!local.read(block.data(), kBlock, &filled)) return kReadFailed;
    if (filled == 0) return kOk;
    for (DWORD at = 0, done = 0; at < filled; at += done) {
      if (isCancelled()) return kCancelled;
      const DWORD chunk = std::min<DWORD>(filled - at, kChunk);
      if (!InternetWriteFile(remote, block.data() + at, chunk, &done) || done == 0) return kWriteFailed;
      client.TransferProgressUpdate(done);
    }
  }
}

// ---- Fetching

HRESULT FtpWork::getFile() {
  RemoteFile remote(FtpOpenFileW(connection(), arguments.second.c_str(), GENERIC_READ,
                                 INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | transferFlags(), 0));
  return remote ? receive(remote.get(), true) : kCannotOpenFile;
}

HRESULT FtpWork::getPartialFile() {
  constexpr DWORD kFlags = INTERNET_FLAG_NO_CACHE_WRITE;
  WCHAR command[512];
  QvCchPrintF(command, 512, nullptr, TEXT("SITE REPF %s %I64d %I64d"), arguments.second.c_str(),
              arguments.values[0], arguments.values[1]);
  RemoteFile remote;
  if (!FtpCommandW(connection(), TRUE, kFlags | transferFlags(), command, 0, remote.out()) || !remote) {
    return kCannotOpenFile;
  }
  return receive(remote.get(), false);
}

// The local file goes again unless all of something has arrived.
HRESULT FtpWork::receive(HINTERNET remote, bool knowsTotal) {
  LocalFile local = LocalFile::toWrite(arguments.first.c_str());
  if (!local.isOpen()) return kCannotCreateFile;
  client.SetTotalBytesToTransfer(knowsTotal ? static_cast<int64_t>(sizeOf(remote)) : 0);
  const HRESULT status = receiveInto(remote, local);
  local.close();
  if (status != kOk || isCancelled() || client.GetBytesTransferred() == 0)
    DeleteFileW(arguments.first.c_str());
  return status;
}

HRESULT FtpWork::receiveInto(HINTERNET remote, const LocalFile& local) {
  std::vector<uint8_t> block(kBlock);
  uint32_t filled = 0;
  for (DWORD done = 1; done > 0;) {
    if (isCancelled()) return kCancelled;
    if (!InternetReadFile(remote, block.data() + filled, kChunk, &done)) return kReadFailed;
    if (done > 0) client.TransferProgressUpdate(done);
    filled += done;
    if (done > 0 && kBlock - filled >= kChunk) continue;
    DWORD left = 0;
    if (!local.write(block.data(), filled, left)) return kWriteFailed;
    filled = 0;
  }
  return kOk;
}

// ---- Looking

HRESULT FtpWork::getFileSize() {
  const RemoteFile remote(FtpOpenFileW(connection(), arguments.first.c_str(), GENERIC_READ,
                                       INTERNET_FLAG_RELOAD | FTP_TRANSFER_TYPE_BINARY, 0));
  if (!remote) return kCannotOpenFile;
  const QVFTPFILE entry = entryOf(arguments.first.c_str(), sizeOf(remote.get()));
  List list = makeList(1, {&entry, 1});
  if (!list) return kOutOfMemory;
  client.list_ = list.release();
  return kOk;
}

HRESULT FtpWork::enumDirectory() {
  if (!FtpSetCurrentDirectoryW(connection(), arguments.first.c_str())) return kCannotOpenFile;
  std::vector<QVFTPFILE> entries;
  WIN32_FIND_DATAW found = {};
  const RemoteFile find(
      FtpFindFirstFileW(connection(), arguments.second.c_str(), &found, INTERNET_FLAG_RELOAD, 0));
  for (BOOL more = find ? TRUE : FALSE; more; more = InternetFindNextFileW(find.get(), &found)) {
    if (isCancelled()) return kCancelled;
    if (entries.size() == kMostFiles) return kReadFailed;  // rather than a part that looks whole
    entries.push_back(entryOf(found.cFileName, uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow));
  }
  if (!isEndOfListing(GetLastError())) return kReadFailed;
  List list = makeList(-1, entries);
  if (!list) return kOutOfMemory;
  client.list_ = list.release();
  return kOk;
}

}  // namespace qv::net
