// The program in front of a self-extracting archive: it opens its own file as an archive and extracts it.

#include "qv/app/detail/command_line.h"
#include "qv/platform/library_folders.h"
#include "qv/stub/extractor.h"

namespace {

using namespace qv::stub;

constexpr int32_t kPathRoom = 1024;

bool readWishes(WCHAR** arguments, int32_t count, Wishes& wishes) {
  for (int32_t i = 1; i < count; ++i) {
    const Text word = arguments[i];
    if (word == TEXT("--list")) {
      wishes.list = true;
    } else if (word == TEXT("--yes")) {
      wishes.yes = true;
    } else if (word == TEXT("--to") && i + 1 < count) {
      wishes.folder = arguments[++i];
    } else {
      return false;
    }
  }
  return true;
}

void help() {
  say(
      TEXT("Extracts the files that this program carries.\n\n"
           "  --list        shows what it carries, and ends\n"
           "  --to FOLDER   extracts into this folder without asking for one\n"
           "  --yes         overwrites files without asking\n"
           "  --help        shows this text\n\n"
           "It ends with 0 when all is well, 1 when something could not be extracted, 2 when it was called\n"
           "wrongly, 3 when it was stopped.\n"));
}

}  // namespace

int main() {
  // Before anything else could load a library that lies beside the program.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  int32_t count = 0;
  WCHAR** arguments = qv::splitCommandLine(GetCommandLineW(), count);
  Wishes wishes;
  const bool asksForHelp = count == 2 && Text(arguments[1]) == TEXT("--help");
  const bool understood = !asksForHelp && readWishes(arguments, count, wishes);
  GlobalFree(arguments);
  if (!understood) return help(), asksForHelp ? kDone : kWrongUse;
  WCHAR path[kPathRoom] = {};
  GetModuleFileNameW(nullptr, path, kPathRoom);
  return serve(path, wishes);
}
