#include "qv/files/detail/archive_words.h"

#include "qv/files/detail/archive.h"
#include "qv/frame/errors.h"

namespace qv::files {

void addArchiveWords() {
  static constexpr _qverror_table kWords[] = {
      {kNoArchive, TEXT("\n\nThe file is not an archive, or its end is missing.")},
      {kNoSpace, TEXT("\n\nThere is not enough free space on the disk for the archive's files.")},
  };
  [[maybe_unused]] static const int32_t added = QvErrorHandler_AddErrorTable(kWords, 2);
}

}  // namespace qv::files
