#include "qv/platform/library_folders.h"

#include <gtest/gtest.h>

namespace {

TEST(LibraryFolders, TakesTheSystemsFolderAndRefusesNone) {
  EXPECT_FALSE(SetDefaultDllDirectories(0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_TRUE(SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_APPLICATION_DIR));
}

}  // namespace
