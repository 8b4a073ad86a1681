// folder: the user's folders, those that applications share, and an application's own below them.
#include "qv/app/workbench/settings_file.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"
#include "qv/settings/folders.h"

namespace qv::workbench {
namespace {

constexpr uint32_t kPathCapacity = 260;

struct SpecialFolder {
  const WCHAR* name;
  int32_t number;
};
constexpr SpecialFolder kSpecialFolders[] = {
    {TEXT("desktop"), CSIDL_DESKTOPDIRECTORY},
    {TEXT("documents"), CSIDL_PERSONAL},
    {TEXT("music"), CSIDL_MYMUSIC},
    {TEXT("pictures"), CSIDL_MYPICTURES},
    {TEXT("video"), CSIDL_MYVIDEO},
    {TEXT("templates"), CSIDL_TEMPLATES},
    {TEXT("profile"), CSIDL_PROFILE},
    {TEXT("settings"), CSIDL_APPDATA},
    {TEXT("data"), CSIDL_LOCAL_APPDATA},
    {TEXT("common-data"), CSIDL_COMMON_APPDATA},
    {TEXT("shared-documents"), CSIDL_COMMON_DOCUMENTS},
    {TEXT("shared-music"), CSIDL_COMMON_MUSIC},
    {TEXT("shared-pictures"), CSIDL_COMMON_PICTURES},
    {TEXT("shared-video"), CSIDL_COMMON_VIDEO},
};

struct SharedFolder {
  const WCHAR* name;
  HRESULT (*get)(WCHAR* path, uint32_t capacity);
  HRESULT (*set)(const WCHAR* path);
};
constexpr SharedFolder kSharedFolders[] = {
    {TEXT("components"), QvGetSharedComponentsFolder,
     [](const WCHAR* path) { return QvSetSharedInformationValue(path, TEXT("SharedComponentsFolder")); }},
    {TEXT("themes"),
     [](WCHAR* path, uint32_t capacity) { return QvGetSpecialHaldenFolder(path, capacity, 0); },
     [](const WCHAR* path) { return QvSetSpecialHaldenFolder(path, 0); }},
    {TEXT("transitions"),
     [](WCHAR* path, uint32_t capacity) { return QvGetSpecialHaldenFolder(path, capacity, 1); },
     [](const WCHAR* path) { return QvSetSpecialHaldenFolder(path, 1); }},
};

HRESULT showSpecial(Session& session, const Step& step, const SpecialFolder& folder) {
  WCHAR path[kPathCapacity] = {};
  const WString subfolder = step.optionOr(TEXT("sub"), TEXT(""));
  const WString* version = step.option(TEXT("version"));
  uint32_t word = 0;
  if (step.option(TEXT("set")) != nullptr)
    return session.fail(kInvalidArgument, TEXT("The system sets this folder."));
  if (version != nullptr && !parseVersion(*version, word))
    return session.fail(kInvalidArgument, kVersionUsage);
  const int32_t number =
      folder.number | (step.optionOr(TEXT("create"), TEXT("0")) == TEXT("1") ? CSIDL_FLAG_CREATE : 0);
  const HRESULT status =
      version == nullptr
          ? QvGetSpecialFolderNoVer(path, kPathCapacity, number, subfolder.c_str())
          : QvGetSpecialFolderVer(path, kPathCapacity, number, subfolder.c_str(),
                                  static_cast<int32_t>(word >> 24), static_cast<int32_t>(word >> 16 & 255));
  if (FAILED(status)) return session.fail(status, TEXT("The folder is not there; create=1 makes it."));
  session.record({TEXT("folder"), folder.name, path,
                  QvIsHiddenFolderByDefault(number) != 0 ? TEXT("hidden") : TEXT("visible")});
  return kOk;
}

HRESULT showShared(Session& session, const Step& step, const SharedFolder& folder) {
  WCHAR path[kPathCapacity] = {};
  if (const WString* place = step.option(TEXT("set")); place != nullptr) {
    const HRESULT status = folder.set(place->c_str());
    if (FAILED(status)) return session.fail(status, TEXT("The folder could not be stored for all users."));
  }
  const HRESULT status = folder.get(path, kPathCapacity);
  if (FAILED(status)) return session.fail(status, TEXT("This folder is not set; set=PATH does that."));
  session.record({TEXT("folder"), folder.name, path});
  return kOk;
}

HRESULT showPresets(Session& session, const Step& step) {
  WCHAR path[kPathCapacity] = {};
  const WString application = step.optionOr(TEXT("app"), TEXT(""));
  uint32_t version = 0;
  if (application.empty() || !parseVersion(step.optionOr(TEXT("version"), TEXT("0")), version)) {
    return session.fail(kInvalidArgument, TEXT("Whose presets? Say app=APPLICATION version=MAJOR.MINOR."));
  }
  if (const WString* place = step.option(TEXT("set")); place != nullptr) {
    const HRESULT status = QvSetPresetFolder(place->c_str(), version, application.c_str());
    if (status != kOk) return session.fail(kGeneralFailure, TEXT("The folder could not be stored."));
  }
  QvGetPresetFolder(path, kPathCapacity, version, application.c_str());
  session.record({TEXT("folder"), TEXT("presets"), path});
  return kOk;
}

HRESULT runFolder(Session& session, const Step& step) {
  const WString& name = step.words[1];
  for (const SpecialFolder& folder : kSpecialFolders) {
    if (name == folder.name) return showSpecial(session, step, folder);
  }
  for (const SharedFolder& folder : kSharedFolders) {
    if (name == folder.name) return showShared(session, step, folder);
  }
  if (name == TEXT("presets")) return showPresets(session, step);
  WString names = TEXT("The folder is presets");
  for (const SharedFolder& folder : kSharedFolders) names += WString(TEXT(", ")) + folder.name;
  for (const SpecialFolder& folder : kSpecialFolders) names += WString(TEXT(", ")) + folder.name;
  return session.fail(kNotFound, names + TEXT("."));
}

constexpr Verb kVerbs[] = {
    {"folder", "NAME [sub=NAME] [version=VERSION] [create=1] [app=APP] [set=PATH]", 1, 1,
     "sub version create app set", runFolder},
};

}  // namespace

std::span<const Verb> folderVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
