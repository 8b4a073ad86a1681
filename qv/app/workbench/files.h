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
  // Goes to a place, in bytes from the start: 0, or kReadFailed.
  HRESULT seek(int64_t position);

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// A file that is written in sequence beside its target and takes the target's place when it is kept, so that
// a failure leaves the old file as it was. Folders on the way are made.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // 0, or kCannotCreateFile.
  HRESULT open(const WString& path);
  // 0, or kWriteFailed.
  HRESULT write(std::string_view bytes);
  HRESULT keep();

 private:
  WString path_, temporary_;
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// The bytes of a file of at most `limit` bytes; a larger one gives kBadFormat.
HRESULT readFile(const WString& path, uint64_t limit, std::string& bytes);

// A whole file at once, as OutputFile writes it.
HRESULT writeFile(const WString& path, std::string_view bytes);

// Makes a folder and those above it; 0 when it stands already.
HRESULT makeFolder(const WString& path);

// The folder that the workbench itself is in, with its last separator.
WString folderOfExecutable();

bool isAbsolutePath(WStringView path);
// The path from its drive on; as it is when that can't be said.
WString fullPath(const WString& path);
// The folder of a path with its last separator; empty when the path is a bare name.
WStringView folderOf(WStringView path);

}  // namespace qv::workbench
