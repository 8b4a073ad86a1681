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

// A file that comes to be beside its target and takes the target's place when it is kept, so that a failure
// leaves the old file as it was and nothing half behind. Whoever has it writes it, by the temporary name.
class PendingFile {
 public:
  PendingFile() = default;
  ~PendingFile() { drop(); }
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // Chooses the temporary name, the target's with `suffix` behind it, and makes the folders on the way: 0, or
  // kCannotCreateFile.
  HRESULT prepare(const WString& path, const WCHAR* suffix);
  const WString& path() const { return path_; }
  const WCHAR* temporary() const { return temporary_.c_str(); }
  // 0, or kWriteFailed. The file must be closed.
  HRESULT keep();
  // For a file of the temporary name that is another's: it stays.
  void leave() { temporary_.clear(); }

 private:
  void drop();

  WString path_, temporary_;
};

// A pending file that is written in sequence.
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
  PendingFile pending_;
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
