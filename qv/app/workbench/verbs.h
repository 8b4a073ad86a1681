// The tables of verbs, one a subsystem; verbs.cpp lists them.
#pragma once

#include "qv/app/workbench/session.h"

namespace qv::workbench {

std::span<const Verb> errorVerbs();
std::span<const Verb> machineVerbs();
std::span<const Verb> linesVerbs();
std::span<const Verb> logVerbs();
std::span<const Verb> moduleVerbs();
std::span<const Verb> netVerbs();
std::span<const Verb> handoffVerbs();
std::span<const Verb> ftpVerbs();
std::span<const Verb> reportVerbs();
std::span<const Verb> resourceVerbs();
std::span<const Verb> settingsVerbs();
std::span<const Verb> folderVerbs();
std::span<const Verb> textVerbs();
std::span<const Verb> timeVerbs();
std::span<const Verb> wavVerbs();
std::span<const Verb> zipVerbs();
std::span<const Verb> archiveVerbs();
std::span<const Verb> filesVerbs();
std::span<const Verb> imageVerbs();
std::span<const Verb> framesVerbs();

}  // namespace qv::workbench
