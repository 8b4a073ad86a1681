// The least that an application needs: a job, the entry routine, a menu of its own.
#include <cstdio>

#include "qv/app/entry.h"
#include "qv/lang/menus.h"
#include "qv/platform/win32.h"

namespace {

int context = 0;

void* create(QVAPP*) { return &context; }

int32_t run(void*, const WCHAR* argument) {
  char text[256] = {};
  WideCharToMultiByte(CP_UTF8, 0, argument, -1, text, sizeof(text), nullptr, nullptr);
  printf("a job of its own: %s\n", text);
  HQVLANG language = nullptr;
  QvLang_Open(&language, GetModuleHandleW(nullptr), 0, 0);
  const HMENU menu = QvLoadMenu(language, MAKEINTRESOURCEW(1));
  printf("commands in its menu: %d\n", GetMenuItemCount(GetSubMenu(menu, 0)));
  DestroyMenu(menu);
  QvLang_Close(language);
  return 0;
}

}  // namespace

int main() {
  static const QVJOB job = {TEXT("Consumer"), create, nullptr, run, nullptr};
  return QvApp_Main(GetModuleHandleW(nullptr), &job);
}
