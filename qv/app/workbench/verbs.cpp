#include "qv/app/workbench/verbs.h"

namespace qv::workbench {

std::span<const std::span<const Verb>> verbTables() {
  static const std::span<const Verb> tables[] = {
      errorVerbs(),    machineVerbs(), linesVerbs(),   logVerbs(),      moduleVerbs(),
      settingsVerbs(), textVerbs(),    timeVerbs(),    wavVerbs(),      filesVerbs(),
      folderVerbs(),   zipVerbs(),     archiveVerbs(), resourceVerbs(), reportVerbs(),
      imageVerbs(),    framesVerbs(),  netVerbs(),     handoffVerbs(),  ftpVerbs()};
  return tables;
}

}  // namespace qv::workbench
