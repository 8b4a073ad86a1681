#include "qv/platform/linux/internet_ftp.h"

#include <algorithm>
#include <optional>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/internet_ftp_command.h"
#include "qv/platform/linux/internet_transfer.h"
#include "qv/platform/linux/name_pattern.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

constexpr size_t kLineLimit = 4096;
constexpr uint64_t kListingLimit = uint64_t{64} << 20;

// Of a path from the server's root on: everything but letters, digits and a few marks is percent-encoded.
std::string urlPath(std::string_view path) {
  constexpr char kHex[] = "0123456789ABCDEF";
  constexpr std::string_view kMarks = "/-._~";
  std::string url;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool letter = (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z';
    const bool plain = letter || (c >= '0' && c <= '9') || kMarks.find(c) != kMarks.npos;
    if (plain) {
      url += c;
    } else {
      url += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return url;
}

// A transfer on a connection's channel. Its reply lines say when the server has begun to send or to take
// data.
class FtpTransfer {
 public:
  // `path` from the server's root on; one that ends in a slash is a folder's, whose listing is what is read.
  FtpTransfer(const Host& host, ChannelPool& channels, const std::string& path, bool text)
      : transfer_(channels) {
    const std::string url = addressOf(host, "ftp") + "/" + urlPath(path);
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "ftp");
    set(CURLOPT_FTP_FILEMETHOD, static_cast<long>(CURLFTPMETHOD_NOCWD));
    set(CURLOPT_FTP_SKIP_PASV_IP, 1L);
    set(CURLOPT_TRANSFERTEXT, text ? 1L : 0L);
    set(CURLOPT_HEADERFUNCTION, onReply);
    set(CURLOPT_HEADERDATA, this);
    setLogin(transfer_.easy(), host);
  }

  template <typename Value>
  void set(CURLoption option, Value value) {
    curl_easy_setopt(transfer_.easy(), option, value);
  }
  void addCommand(const std::string& command) {
    commands_.add(command);
    set(CURLOPT_QUOTE, commands_.get());
  }
  Transfer& transfer() { return transfer_; }

  // To the end, for what brings no data.
  bool run() {
    set(CURLOPT_NOBODY, 1L);
    return transfer_.start() && transfer_.waitFor([] { return false; });
  }
  // Until data begins to flow, one way or the other.
  bool begin() {
    return transfer_.start() && transfer_.waitFor([this] { return began_ || transfer_.hasData(); });
  }

 private:
  static size_t onReply(char* data, size_t, size_t count, void* self) {
    auto& transfer = *static_cast<FtpTransfer*>(self);
    const std::string_view line(data, count);
    transfer.transfer_.noteActivity();
    if (line.starts_with("150") || line.starts_with("125")) transfer.began_ = true;
    return count;
  }

  Transfer transfer_;
  LineList commands_;
  bool began_ = false;
};

class FtpConnection : public Connection {
 public:
  explicit FtpConnection(Host host) : Connection(std::move(host)) {}

  bool logIn() {
    auto login = transfer("/", false);
    if (!login->run()) return false;
    char* entry = nullptr;
    curl_easy_getinfo(login->transfer().easy(), CURLINFO_FTP_ENTRY_PATH, &entry);
    folder_ = entry && *entry == '/' ? entry : "/";
    return true;
  }

  // A name of the caller's, from the server's root on. False for one that can't be sent.
  bool resolve(LPCWSTR name, std::string& path) const {
    if (!requestText(name, path)) return false;
    if (path.empty()) return fail(ERROR_INVALID_PARAMETER);
    if (path.front() != '/') path = folder_ + (folder_.back() == '/' ? "" : "/") + path;
    return true;
  }
  const std::string& folder() const { return folder_; }
  bool setFolder(const std::string& path) {
    if (!command("CWD " + path)) return false;
    folder_ = path;
    return true;
  }
  bool command(const std::string& text) {
    auto commanding = transfer("/", false);
    commanding->addCommand(text);
    return commanding->run();
  }
  // Ends the connection until the next transfer: devices may have room for one only.
  void leave() { channels_ = std::make_unique<ChannelPool>(); }
  std::unique_ptr<FtpTransfer> transfer(const std::string& path, bool text) {
    return std::make_unique<FtpTransfer>(host(), *channels_, path, text);
  }

 private:
  // Apart from other connections': the one to this server stays open between commands.
  std::unique_ptr<ChannelPool> channels_ = std::make_unique<ChannelPool>();
  std::string folder_ = "/";
};

// A file that is read: it is asked for when the first bytes are, so that a look at its size costs no
// transfer.
class FtpInput : public InternetObject {
 public:
  FtpInput(std::shared_ptr<FtpConnection> connection, std::string path, bool text)
      : connection_(std::move(connection)), path_(std::move(path)), text_(text) {}

  // Whether there is such a file, and how long it is.
  bool probe() {
    auto probing = connection_->transfer(path_, false);
    if (!probing->run()) return false;
    curl_off_t length = -1;
    curl_easy_getinfo(probing->transfer().easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    if (length >= 0) size_ = static_cast<uint64_t>(length);
    return true;
  }
  std::optional<uint64_t> size() const { return size_; }

  bool available(DWORD* bytes) override { return open() && transfer_->transfer().available(bytes); }
  bool read(void* buffer, DWORD bytes, DWORD* done) override {
    return open() && transfer_->transfer().read(buffer, bytes, done);
  }
  bool close() override {
    transfer_.reset();
    return true;
  }

 private:
  bool open() {
    if (transfer_) return true;
    transfer_ = connection_->transfer(path_, text_);
    return transfer_->begin();
  }

  const std::shared_ptr<FtpConnection> connection_;
  const std::string path_;
  const bool text_;
  std::optional<uint64_t> size_;
  std::unique_ptr<FtpTransfer> transfer_;
};

class FtpOutput : public InternetObject {
 public:
  FtpOutput(std::shared_ptr<FtpConnection> connection, const std::string& path, bool text)
      : connection_(std::move(connection)), transfer_(connection_->transfer(path, text)) {}

  bool begin() {
    transfer_->set(CURLOPT_UPLOAD, 1L);
    transfer_->transfer().sendFromWriter();
    return transfer_->begin();
  }
  bool write(const void* buffer, DWORD bytes, DWORD* done) override {
    // A server that has ended the transfer took no more.
    if (transfer_->transfer().hasEnded()) return fail(ERROR_INTERNET_EXTENDED_ERROR);
    return transfer_->transfer().write(buffer, bytes, done);
  }
  bool close() override {
    transfer_->transfer().endWriting();
    const bool whole = transfer_->transfer().waitFor([] { return false; });
    const DWORD error = whole ? ERROR_SUCCESS : GetLastError();
    transfer_.reset();
    return whole || fail(error);
  }

 private:
  const std::shared_ptr<FtpConnection> connection_;
  std::unique_ptr<FtpTransfer> transfer_;
};

// A listing, read line by line: what the server goes on sending costs no memory. One without end would keep
// its caller for ever, since lines that name nothing are passed over in here: so it has a limit.
class FtpListing : public InternetObject {
 public:
  FtpListing(std::shared_ptr<FtpConnection> connection, std::string folder, NamePattern pattern)
      : connection_(std::move(connection)), folder_(std::move(folder)), pattern_(std::move(pattern)) {}

  // In the form for machines, or for people where a server has no other.
  bool begin() {
    for (const bool machine : {true, false}) {
      machine_ = machine;
      transfer_ = connection_->transfer(folder_, false);
      if (machine) transfer_->set(CURLOPT_CUSTOMREQUEST, "MLSD");
      if (transfer_->begin()) return true;
    }
    return false;
  }

  bool next(WIN32_FIND_DATAW& found) {
    while (nextLine()) {
      const bool named = machine_ ? parseMachineLine(line_, found) : parseHumanLine(line_, found);
      if (named && pattern_.matches(found.cFileName)) return true;
    }
    return false;
  }

 private:
  bool nextLine() {
    line_.clear();
    while (at_ < filled_ || fill()) {
      const std::string_view rest(block_ + at_, filled_ - at_);
      const size_t length = std::min(rest.find('\n'), rest.size());
      line_ += rest.substr(0, std::min(length, kLineLimit - line_.size()));
      at_ += static_cast<DWORD>(length);
      if (length == rest.size()) continue;
      ++at_;
      std::erase(line_, '\r');
      return true;
    }
    std::erase(line_, '\r');
    return !line_.empty() && GetLastError() == ERROR_NO_MORE_FILES;
  }
  bool fill() {
    at_ = 0;
    filled_ = 0;
    if (!transfer_->transfer().read(block_, sizeof(block_), &filled_)) return false;
    if (filled_ == 0) return fail(ERROR_NO_MORE_FILES);
    received_ += filled_;
    return received_ <= kListingLimit || fail(ERROR_INTERNET_EXTENDED_ERROR);
  }

  const std::shared_ptr<FtpConnection> connection_;
  const std::string folder_;
  const NamePattern pattern_;
  std::unique_ptr<FtpTransfer> transfer_;
  bool machine_ = true;
  std::string line_;
  char block_[8192];
  DWORD at_ = 0, filled_ = 0;
  uint64_t received_ = 0;
};

bool isText(DWORD flags) {
  return (flags & FTP_TRANSFER_TYPE_ASCII) != 0;
}

// A command with a name that the connection makes whole.
BOOL commandOn(HINTERNET handle, const char* command, LPCWSTR name) {
  const auto connection = objectOf<FtpConnection>(handle);
  std::string path;
  return connection && connection->resolve(name, path) && connection->command(command + path);
}

}  // namespace

std::shared_ptr<Connection> openFtp(Host host) {
  auto connection = std::make_shared<FtpConnection>(std::move(host));
  return connection->logIn() ? connection : nullptr;
}

}  // namespace qv::platform

using namespace qv::platform;

HINTERNET FtpOpenFileW(HINTERNET handle, LPCWSTR name, DWORD access, DWORD flags, DWORD_PTR) {
  auto connection = objectOf<FtpConnection>(handle);
  std::string path;
  if (!connection || !connection->resolve(name, path)) return nullptr;
  if (access == GENERIC_WRITE) {
    auto file = std::make_shared<FtpOutput>(std::move(connection), path, isText(flags));
    return file->begin() ? openHandle(std::move(file)) : nullptr;
  }
  if (access != GENERIC_READ) return failWith(ERROR_INVALID_PARAMETER, nullptr);
  auto file = std::make_shared<FtpInput>(std::move(connection), path, isText(flags));
  return file->probe() ? openHandle(std::move(file)) : nullptr;
}

DWORD FtpGetFileSize(HINTERNET handle, DWORD* high) {
  constexpr DWORD kUnknown = 0xffffffffu;
  const auto file = objectOf<FtpInput>(handle);
  if (high) *high = 0;
  if (!file) return kUnknown;
  if (!file->size()) return failWith(ERROR_INTERNET_EXTENDED_ERROR, kUnknown);
  if (high) *high = static_cast<DWORD>(*file->size() >> 32);
  return static_cast<DWORD>(*file->size());
}

BOOL FtpSetCurrentDirectoryW(HINTERNET handle, LPCWSTR folder) {
  const auto connection = objectOf<FtpConnection>(handle);
  std::string path;
  return connection && connection->resolve(folder, path) && connection->setFolder(path);
}

HINTERNET FtpFindFirstFileW(HINTERNET handle, LPCWSTR pattern, WIN32_FIND_DATAW* found, DWORD, DWORD_PTR) {
  auto connection = objectOf<FtpConnection>(handle);
  if (!connection) return nullptr;
  std::u16string_view names = pattern && *pattern ? viewOf(pattern) : u"*";
  const size_t slash = names.find_last_of(u'/');
  std::string folder = connection->folder() + "/";
  if (slash != names.npos) {
    if (!connection->resolve(std::u16string(names.substr(0, slash + 1)).c_str(), folder)) return nullptr;
    names.remove_prefix(slash + 1);
  }
  if (!found || names.size() > kMaxName) return failWith(ERROR_INVALID_PARAMETER, nullptr);
  auto listing = std::make_shared<FtpListing>(std::move(connection), folder, NamePattern(names));
  return listing->begin() && listing->next(*found) ? openHandle(std::move(listing)) : nullptr;
}

BOOL InternetFindNextFileW(HINTERNET find, LPVOID found) {
  const auto listing = objectOf<FtpListing>(find);
  if (!listing) return FALSE;
  return found ? listing->next(*static_cast<WIN32_FIND_DATAW*>(found)) : fail(ERROR_INVALID_PARAMETER);
}

BOOL FtpCreateDirectoryW(HINTERNET connection, LPCWSTR folder) {
  return commandOn(connection, "MKD ", folder);
}

BOOL FtpRemoveDirectoryW(HINTERNET connection, LPCWSTR folder) {
  return commandOn(connection, "RMD ", folder);
}

BOOL FtpDeleteFileW(HINTERNET connection, LPCWSTR name) {
  return commandOn(connection, "DELE ", name);
}

BOOL FtpCommandW(HINTERNET handle, BOOL expectResponse, DWORD flags, LPCWSTR command, DWORD_PTR,
                 HINTERNET* data) {
  auto connection = objectOf<FtpConnection>(handle);
  std::string text;
  if (!connection || !requestText(command, text)) return FALSE;
  if (text.empty() || (expectResponse && !data)) return fail(ERROR_INVALID_PARAMETER);
  if (!expectResponse) return connection->command(text);
  connection->leave();
  auto answer = std::make_shared<FtpCommandData>();
  if (!answer->begin(connection->host(), text, isText(flags))) return FALSE;
  *data = openHandle(std::move(answer));
  return *data != nullptr;
}
