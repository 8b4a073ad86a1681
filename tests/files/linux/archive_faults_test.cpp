// What an archive must withstand: any file operation of a change fails, the disk is full from any write on,
// or the process ends at any of them. Afterwards the old archive or the new one can be read in full.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qv/files/archive2.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/detail/file_seam.h"
#include "tests/files/bytes.h"

namespace qv::test {
namespace {

using platform::FileFault;

bool closeFailed;  // in the last change

HRESULT closed(CArchive2& archive, HRESULT status) {
  const HRESULT end = archive.Close();
  closeFailed = FAILED(end);
  return FAILED(status) ? status : end;
}

HRESULT add(const Folder& folder, int32_t mode, const char* what) {
  CArchive2 archive;
  HRESULT status = archive.Open(folder.path("a.arc").c_str(), mode, nullptr);
  if (FAILED(status)) return status;
  status = archive.AddEntryToArchive(folder.path(what).c_str(), 1, 6, QVADD_REPLACE, nullptr);
  // What was added so far would be kept by Close; who wants all or nothing leaves it out.
  return FAILED(status) ? status : closed(archive, kOk);
}
HRESULT create(const Folder& folder) {
  return add(folder, QVARCHIVE_CREATE, "new");
}
HRESULT createFirst(const Folder& folder) {
  return create(folder);
}
HRESULT append(const Folder& folder) {
  return add(folder, QVARCHIVE_APPEND, "new");
}
HRESULT remove(const Folder& folder) {
  CArchive2 archive;
  const HRESULT status = archive.Open(folder.path("a.arc").c_str(), QVARCHIVE_DELETE, nullptr);
  return FAILED(status) ? status : closed(archive, archive.DeleteEntryFromArchive(TEXT("*.txt"), 0));
}
HRESULT annotate(const Folder& folder) {
  CArchive2 archive;
  return archive.Annotate(folder.path("a.arc").c_str(), TEXT("a comment that takes more room than the last"));
}
HRESULT split(const Folder& folder) {
  CArchive2 archive;
  const HRESULT status = archive.Open(folder.path("a.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr);
  if (FAILED(status)) return status;
  const HRESULT done = archive.SplitArchive(3000, 0);
  return closed(archive, done);
}
HRESULT merge(const Folder& folder) {
  CArchive2 archive;
  const HRESULT status = archive.Open(folder.path("a.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr);
  return FAILED(status) ? status : closed(archive, archive.MergeArchive(0));
}

struct Change {
  const char* name;
  HRESULT (*make)(const Folder& folder);
};
constexpr Change kChanges[] = {{"create", create}, {"create_first", createFirst}, {"append", append},
                               {"delete", remove}, {"annotate", annotate},        {"split", split},
                               {"merge", merge}};

void prepare(const Folder& folder) {
  folder.write("old/a.txt", "Roll camera.");
  std::string noise;
  for (uint32_t i = 0, n = 1; i < 9000; ++i, n = n * 1664525u + 1013904223u)
    noise += static_cast<char>(n >> 24);
  folder.write("old/b.bin", noise);
  folder.write("new/c.txt", "Cut.");
}

// The folder's files beside the sources, as they were before a change.
void restore(const Folder& folder, const Content& before) {
  for (const auto& [name, bytes] : folder.content()) {
    if (bytes != "/" && before.count(name) == 0) fs::remove(folder.nativePath(name));
  }
  for (const auto& [name, bytes] : before) {
    if (bytes != "/") folder.write(name, bytes);
  }
}

// All that the archive holds, by name; one name alone where it isn't there or can't be read in full.
Content held(const Folder& folder) {
  if (!fs::exists(folder.nativePath("a.arc"))) return {{"none", ""}};
  const Folder out;
  CArchive2 archive;
  HRESULT status = archive.Open(folder.path("a.arc").c_str(), QVARCHIVE_READ, nullptr);
  if (SUCCEEDED(status)) status = archive.ExtractAll(out.path(), QVEXTRACT_OVERWRITE);
  return SUCCEEDED(status) ? out.content() : Content{{"unreadable", ""}};
}

class ArchiveFaults : public testing::TestWithParam<Change> {
 protected:
  void SetUp() override {
    prepare(folder_);
    if (GetParam().make != createFirst) {
      ASSERT_EQ(kOk, add(folder_, QVARCHIVE_CREATE, "old"));
    }
    if (GetParam().make == merge) {
      ASSERT_EQ(kOk, split(folder_));
    }
    before_ = folder_.content();
    old_ = held(folder_);
    ASSERT_EQ(kOk, GetParam().make(folder_));
    new_ = held(folder_);
    restore(folder_, before_);
    ASSERT_TRUE(held(folder_) == old_);
  }

  void expectOldOrNew(int64_t n) {
    const Content now = held(folder_);
    EXPECT_TRUE(now == old_ || now == new_) << GetParam().name << " at " << n;
  }
  // It stays for the user behind a Close that failed, and goes with the object otherwise.
  void expectTemporaryOfFailedClose(int64_t n) {
    EXPECT_EQ(closeFailed, fs::exists(folder_.nativePath("~a.arc"))) << GetParam().name << " at " << n;
  }
  HRESULT change() {
    closeFailed = false;
    return GetParam().make(folder_);
  }

  // Faults at every operation in turn; how often one came about.
  int64_t failEach(FileFault fault) {
    for (int64_t n = 1;; ++n) {
      platform::faultFileOperation(n, fault);
      const HRESULT status = change();
      const bool faulted = platform::fileOperationFaulted();
      expectOldOrNew(n);
      EXPECT_TRUE(FAILED(status) || held(folder_) == new_) << GetParam().name << " at " << n;
      if (faulted && SUCCEEDED(status)) ++survived_;
      expectTemporaryOfFailedClose(n);
      restore(folder_, before_);
      if (!faulted || HasFailure()) return n - 1;
    }
  }

  Folder folder_;
  Content before_, old_, new_;
  int64_t survived_ = 0;
};

TEST_P(ArchiveFaults, AFailedOperation) {
  EXPECT_GE(failEach(FileFault::Fails), 5);
}

TEST_P(ArchiveFaults, ADiskThatIsFullFromSomeWriteOn) {
  EXPECT_GE(failEach(FileFault::FailsOn), 2);
  EXPECT_EQ(0, survived_) << "a lost write was passed over";
}

TEST_P(ArchiveFaults, AnAllocationThatFails) {
  for (int64_t n = 1;; ++n) {
    platform::failAllocation(n);
    const HRESULT status = change();
    const bool failed = platform::allocationFailed();
    EXPECT_TRUE(!failed || FAILED(status)) << GetParam().name << " at " << n;
    expectOldOrNew(n);
    expectTemporaryOfFailedClose(n);
    restore(folder_, before_);
    if (!failed || HasFailure()) break;
  }
}

TEST_P(ArchiveFaults, AProcessThatEnds) {
  for (int64_t n = 1;; ++n) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      platform::faultFileOperation(n, FileFault::EndsThere);
      _exit(FAILED(GetParam().make(folder_)) ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    expectOldOrNew(n);
    restore(folder_, before_);
    if (WEXITSTATUS(status) != 99) {
      EXPECT_EQ(0, WEXITSTATUS(status));
      EXPECT_GE(n, 5);
      break;
    }
    if (HasFailure()) break;
  }
}

INSTANTIATE_TEST_SUITE_P(All, ArchiveFaults, testing::ValuesIn(kChanges),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qv::test
