// Reading the header of a response, apart from the transfer that brings it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::platform {

class ResponseHeader {
 public:
  explicit ResponseHeader(bool follows = true) : follows_(follows) {}

  // A line as it came, its end included. False for one that no honest server sends: a status of other than
  // three digits, lengths that are no plain numbers or contradict each other, and a header without end.
  bool addLine(std::string_view line);

  // The header is whole, and no further one follows it: it is neither interim nor a redirection that is
  // followed.
  bool isFinal() const { return final_; }
  int status() const { return status_; }
  const std::vector<std::string>& lines() const { return lines_; }
  const std::string* contentType() const { return contentType_ ? &*contentType_ : nullptr; }
  std::optional<uint64_t> contentLength() const { return contentLength_; }

 private:
  bool begin(std::string_view line);
  bool addField(std::string_view line);
  bool addContinuation(std::string_view line);
  bool setLength(std::string_view digits);
  bool isRedirection() const;

  bool follows_;
  std::vector<std::string> lines_;
  size_t bytes_ = 0;  // of all headers, the interim ones too
  int status_ = 0;
  bool open_ = false;  // its first line was there, its empty one not yet
  bool final_ = false, hasLocation_ = false;
  std::optional<std::string> contentType_;
  std::optional<uint64_t> contentLength_;
};

}  // namespace qv::platform
