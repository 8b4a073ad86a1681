// Whole-file input and output for the verbs, with bounded blocks and clear statuses.
#pragma once

#include "qv/app/workbench/text.h"

namespace qv::workbench {

// A file opened for reading in sequence; closed with the object.
class InputFile {
 public:
  InputFile() = default;
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // 0, or kCannotOpenFile.
  HRESULT open(const WString& path);
  // In bytes; -1 when the system cannot tell.
  int64_t size() const;
  // How many bytes were read, 0 at the end, or kReadFailed (negative).
  int64_t read(char* buffer, size_t capacity);

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// The bytes of a file of at most `limit` bytes; a larger one gives kBadFormat.
HRESULT readFile(const WString& path, uint64_t limit, std::string& bytes);

// Writes beside the target and renames, so that a failure leaves the old file as it was. Folders on the way
// are made.
HRESULT writeFile(const WString& path, std::string_view bytes);

// Makes a folder and those above it; 0 when it stands already.
HRESULT makeFolder(const WString& path);

bool isAbsolutePath(WStringView path);
// The folder of a path with its last separator; empty when the path is a bare name.
WStringView folderOf(WStringView path);

}  // namespace qv::workbench
