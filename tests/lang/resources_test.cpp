#include "qv/lang/resources.h"

#include "lang/resource_modules.h"
#include "qv/core/printf.h"
#include "qv/lang/menus.h"

namespace {

using namespace resource_modules;

class Resources : public Modules {
 protected:
  std::string custom(const WCHAR* name, const WCHAR* type) {
    uint32_t size = 77;
    const HGLOBAL loaded = QvLoadResourceCustom(language, name, type, &size);
    if (loaded == nullptr) return size == 77 ? "none" : "a size without data";
    return std::string(static_cast<const char*>(LockResource(loaded)), size);
  }
  std::string found(HRSRC resource) {
    const HGLOBAL loaded = QvLoadResource(language, resource);
    if (loaded == nullptr) return "none";
    return std::string(static_cast<const char*>(LockResource(loaded)), QvSizeofResource(language, resource));
  }
};

const WCHAR* const kData = numbered(10);

TEST_F(Resources, TheLanguageWinsAndTheMainModuleServesTheRest) {
  EXPECT_EQ("main ten", custom(numbered(10), kData)) << "English needs no module";
  speakGerman(german);
  EXPECT_EQ("german ten", custom(numbered(10), kData));
  EXPECT_EQ("main eleven", custom(numbered(11), kData));
  EXPECT_EQ("none", custom(numbered(12), kData));
  EXPECT_EQ("german ten", found(QvFindResource(language, numbered(10), kData)));
  EXPECT_EQ("main eleven", found(QvFindResource(language, numbered(11), kData)));
  EXPECT_EQ("none", found(QvFindResource(language, numbered(12), kData)));
  EXPECT_EQ(german, QvFindResInstance(language, numbered(10), kData));
  EXPECT_EQ(main, QvFindResInstance(language, numbered(11), kData));
  EXPECT_EQ(main, QvFindResInstance(language, numbered(12), kData));
  language->languageActive = 0;
  EXPECT_EQ("main ten", custom(numbered(10), kData));
}

TEST_F(Resources, OneModuleForBothIsAskedForEnglish) {
  speakGerman(main);
  SetThreadLocale(0x407);
  EXPECT_EQ("main ten", custom(numbered(10), kData));
  const HMENU menu = QvLoadMenu(language, numbered(1));
  EXPECT_EQ(2, GetMenuItemCount(menu));
  DestroyMenu(menu);
}

TEST_F(Resources, OfSeveralTypesTheLanguagesComeFirst) {
  speakGerman(german);
  const WCHAR* const types[] = {TEXT("SHAPE"), TEXT("CURVE")};
  int32_t index = -1;
  EXPECT_EQ("german curve", found(QvFindResourceMulti(language, numbered(10), types, 2, &index)));
  EXPECT_EQ(1, index) << "the main module's shape comes behind it";
  EXPECT_EQ("main curve", found(QvFindResourceMulti(language, numbered(11), types, 2, &index)));
  language->languageActive = 0;
  EXPECT_EQ("main shape", found(QvFindResourceMulti(language, numbered(10), types, 2, &index)));
  EXPECT_EQ(0, index);
  EXPECT_EQ(nullptr, QvFindResourceMulti(language, numbered(10), types, 0, nullptr));
}

TEST_F(Resources, ALanguagesAcceleratorsAreOneKey) {
  ACCEL keys[4];
  HACCEL table = QvLoadAccelerators(language, numbered(1));
  EXPECT_EQ(2, CopyAcceleratorTableW(table, keys, 4));
  EXPECT_EQ('Q', keys[1].key);
  DestroyAcceleratorTable(table);
  speakGerman(german);
  table = QvLoadAccelerators(language, numbered(1));
  ASSERT_EQ(1, CopyAcceleratorTableW(table, keys, 4));
  EXPECT_EQ('F', keys[0].key);
  EXPECT_EQ(100, keys[0].cmd);
  DestroyAcceleratorTable(table);
  EXPECT_EQ(nullptr, QvLoadAccelerators(language, numbered(9)));
}

TEST_F(Resources, SystemCursorsWantNoHandle) {
  EXPECT_NE(nullptr, QvLoadCursor(nullptr, numbered(32512)));
  EXPECT_EQ(nullptr, QvLoadCursor(nullptr, numbered(1)));
  EXPECT_EQ(nullptr, QvLoadCursor(language, numbered(32512)));
}

// ---- Dialogs ----------------------------------------------------------------------------------------------

// Each call leaves a word about itself; dialogs of a module listed in `broken` fail.
struct Screen {
  std::string calls;
  HMODULE broken = nullptr;
  int32_t extent = 52 * 7 + 25;
} screen;

HWND fakeWindow() {
  return reinterpret_cast<HWND>(&screen);
}

qv::ScreenResourceCalls fakeCalls() {
  qv::ScreenResourceCalls calls = qv::screenResourceCalls();
  calls.createDialog = [](HINSTANCE module, const DLGTEMPLATE*, HWND, DLGPROC, LPARAM) {
    screen.calls += "create ";
    return module == screen.broken ? nullptr : fakeWindow();
  };
  calls.createNamedDialog = [](HINSTANCE, LPCWSTR, HWND, DLGPROC, LPARAM) {
    screen.calls += "named ";
    return fakeWindow();
  };
  calls.runDialog = [](HINSTANCE module, const DLGTEMPLATE*, HWND, DLGPROC, LPARAM) {
    screen.calls += "run ";
    return module == screen.broken ? INT_PTR{-1} : INT_PTR{5};
  };
  calls.runNamedDialog = [](HINSTANCE, LPCWSTR, HWND, DLGPROC, LPARAM) {
    screen.calls += "run-named ";
    return INT_PTR{6};
  };
  calls.measureFont = [](const qv::DialogFont&, LPCWSTR, qv::FontMeasure* measure) {
    *measure = {screen.extent, 15, 1};
    return true;
  };
  return calls;
}

TEST_F(Resources, DialogsFollowTheSameOrder) {
  const qv::ScreenResourceCalls calls = fakeCalls();
  qv::setScreenResourceCalls(&calls);
  const struct {
    bool active;
    HMODULE module, broken;
    uint16_t number;
    const char* create;
    const char* run;
    INT_PTR answer;
  } cases[] = {
      {false, german, nullptr, 1, "named ", "run-named ", 6},
      {true, german, nullptr, 1, "create ", "run ", 5},
      {true, german, german, 1, "create named ", "run run-named ", 6},
      {true, german, nullptr, 2, "named ", "run-named ", 6},
      {true, main, nullptr, 2, "create ", "run ", 5},
      {true, main, nullptr, 9, "", "", -1},
  };
  for (const auto& each : cases) {
    speakGerman(each.module);
    language->languageActive = each.active;
    screen = {{}, each.broken};
    QvCreateDialogParam(language, numbered(each.number), nullptr, nullptr, 0);
    EXPECT_EQ(each.create, screen.calls) << (&each - cases);
    screen.calls.clear();
    EXPECT_EQ(each.answer, QvDialogBoxParam(language, numbered(each.number), nullptr, nullptr, 0));
    EXPECT_EQ(each.run, screen.calls) << (&each - cases);
  }
}

TEST_F(Resources, UnitsAreRoundedAndMissingWithoutAScreen) {
  qv::ScreenResourceCalls calls = fakeCalls();
  qv::setScreenResourceCalls(&calls);
  int32_t width = 9, height = 9;
  const struct { int32_t extent, width; } cases[] = {{52 * 7 + 25, 7}, {52 * 7 + 26, 8}, {25, 0}};
  for (const auto& each : cases) {
    screen.extent = each.extent;
    const bool known = QvGetDialogUnitsForFont(TEXT("A"), 8, 400, 1, false, &width, &height);
    EXPECT_EQ(each.width, width);
    EXPECT_EQ(16, height);
    EXPECT_EQ(each.width > 0, known);
  }
  calls.measureFont = [](const qv::DialogFont&, LPCWSTR, qv::FontMeasure*) { return false; };
  EXPECT_FALSE(QvGetDialogUnitsForFont(TEXT("A"), 8, 400, 1, false, &width, &height));
  EXPECT_EQ(0, width | height);
}

TEST_F(Resources, ADialogsSizeComesFromItsFontOrTheInterfaces) {
  qv::ScreenResourceCalls calls = fakeCalls();
  calls.measureFont = [](const qv::DialogFont& font, LPCWSTR, qv::FontMeasure* measure) {
    const bool extended = font.points == 9 && font.weight == 700 && font.italic && font.charset == 0 &&
                          lstrcmpW(font.face, TEXT("MS Sans Serif")) == 0;
    const bool plain = font.points == 8 && font.weight == 400 && !font.italic && font.charset == 1;
    *measure = {extended ? 520 : plain ? 364 : 0, 16, 0};
    return extended || plain;
  };
  qv::setScreenResourceCalls(&calls);
  SIZE size = {};
  const auto sizeOf = [&](uint16_t number) {
    const HGLOBAL loaded = QvLoadResourceCustom(language, numbered(number), RT_DIALOG, nullptr);
    return QvGetDialogSizeIndirect(language, static_cast<const DLGTEMPLATE*>(LockResource(loaded)), &size);
  };
  EXPECT_EQ(1, sizeOf(1));
  EXPECT_EQ(210, size.cx);
  EXPECT_EQ(120, size.cy);
  EXPECT_EQ(1, sizeOf(2));
  EXPECT_EQ(500, size.cx);
  EXPECT_EQ(162, size.cy);
  calls.measureFont = [](const qv::DialogFont&, LPCWSTR, qv::FontMeasure*) { return false; };
  qv::setInterfaceUnits([](int32_t font) -> SIZE { return {font / 10, 8}; });
  EXPECT_EQ(1, sizeOf(1));
  EXPECT_EQ(300, size.cx);
  EXPECT_EQ(60, size.cy);
  qv::setInterfaceUnits(nullptr);
}

// ---- Menus ------------------------------------------------------------------------------------------------

// "File(Open,-,Recent(…)),Help": what a user sees, with "!" behind a grayed item.
Text shown(HMENU menu) {
  Text text;
  for (int i = 0; i < GetMenuItemCount(menu); ++i) {
    WCHAR item[100] = {};
    if (i > 0) text += ',';
    GetMenuStringW(menu, static_cast<UINT>(i), item, 100, MF_BYPOSITION);
    const UINT state = GetMenuState(menu, static_cast<UINT>(i), MF_BYPOSITION);
    const HMENU popup = GetSubMenu(menu, i);
    text += popup == nullptr && (state & MF_SEPARATOR) != 0 ? Text(TEXT("-")) : Text(item);
    if ((state & MF_GRAYED) != 0 && text.back() != '-') text += '!';
    if (popup != nullptr) text += TEXT('(') + shown(popup) + TEXT(')');
  }
  return text;
}

// Builds a menu from the same notation: a letter is an item of its own code.
HMENU built(const char*& at) {
  const HMENU menu = CreatePopupMenu();
  for (; *at != 0 && *at != ')'; ++at) {
    const WCHAR text[] = {static_cast<WCHAR>(*at), 0};
    if (*at == '-') AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    if (*at == '(') {
      const HMENU popup = built(++at);
      AppendMenuW(menu, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), TEXT("P"));
    } else if (*at != '-') {
      AppendMenuW(menu, MF_STRING, static_cast<UINT>(*at), text);
    }
  }
  return menu;
}

Text compact(HMENU menu) {
  Text text = shown(menu);
  std::erase(text, TEXT(','));
  return text;
}

TEST_F(Resources, MenusLoseTheirMarksAndKeepTheirState) {
  HMENU menu = QvLoadMenu(language, numbered(1));
  EXPECT_EQ(TEXT("&File(&Open,&Close!,-,&Recent(First,Second),-,E&xit),Help"), shown(menu));
  EXPECT_EQ(MF_CHECKED, GetMenuState(menu, 120, MF_BYCOMMAND) & MF_CHECKED);
  EXPECT_EQ(100u, GetMenuItemID(GetSubMenu(menu, 0), 0));
  DestroyMenu(menu);
  speakGerman(german);
  menu = QvLoadMenu(language, numbered(1));
  EXPECT_EQ(TEXT("&Datei(Öffnen,)"), shown(menu));
  DestroyMenu(menu);
  menu = QvLoadMenu(language, numbered(3));
  EXPECT_EQ(TEXT("Long(a,-,b!),odd"), shown(menu));
  DestroyMenu(menu);
  EXPECT_EQ(nullptr, QvLoadMenu(language, numbered(9)));
}

TEST(Menus, CullingCleansUp) {
  const struct {
    const char* menu;
    std::vector<uint16_t> commands;
    int32_t count;
    int32_t clean;
    const WCHAR* left;
  } cases[] = {
      {"a-b-c", {'b', 0}, -1, 1, TEXT("a-c")},
      {"a-b-c", {'b', 0}, -1, 0, TEXT("a--c")},
      {"a-b-c", {'a', 'c'}, 2, 1, TEXT("b")},
      {"a-b-c", {'a', 'c'}, 1, 1, TEXT("b-c")},
      {"a-b-c", {'a', 0, 'c'}, 3, 1, TEXT("b-c")},
      {"a(bc)d", {'b', 'c', 0}, -1, 1, TEXT("ad")},
      {"a-(bc)", {'b', 'c', 0}, -1, 1, TEXT("a")},
      {"a-(b)-c", {'b', 0}, -1, 1, TEXT("a-c")},
      {"(b)-c", {'b', 0}, -1, 1, TEXT("c")},
      {"(a(b-c))d", {'b', 'c', 0}, -1, 1, TEXT("P(a)d")},
      {"((b)-)d", {'b', 0}, -1, 1, TEXT("d")},
      {"-a-(bcdefghi)-j-", {0}, -1, 1, TEXT("a-P(bcdefghi)-j")},  // a pop-up of eight is no separator
      {"a-(bcdefghi)", {0}, -1, 1, TEXT("a-P(bcdefghi)")},
      {"--", {0}, -1, 1, TEXT("")},
      {"a---b", {'x', 0}, -1, 1, TEXT("a-b")},
  };
  for (const auto& each : cases) {
    const char* at = each.menu;
    const HMENU menu = built(at);
    QvCullMenu(menu, each.commands.data(), each.count, each.clean);
    EXPECT_EQ(each.left, compact(menu)) << each.menu;
    DestroyMenu(menu);
  }
}

TEST(Menus, AnEmptyPopUpGoesFromItsParentAndTheTopStays) {
  const char* at = "a()";
  const HMENU menu = built(at);
  EXPECT_EQ(1, QvCleanMenu(GetSubMenu(menu, 1), menu, 1));
  EXPECT_EQ(TEXT("a"), shown(menu));
  DeleteMenu(menu, 0, MF_BYPOSITION);
  EXPECT_EQ(0, QvCleanMenu(menu, nullptr, 0));
  EXPECT_TRUE(IsMenu(menu));
  DestroyMenu(menu);
}

TEST(Menus, AreGrayedByCommandOrAltogether) {
  const char* at = "ab(c)";
  const HMENU menu = built(at);
  const uint16_t commands[] = {'b', 'c', 0, 'a'};
  EXPECT_EQ(0, QvGrayMenu(menu, commands, -1));
  EXPECT_EQ(TEXT("ab!P(c!)"), compact(menu));
  const uint16_t missing[] = {'x'};
  EXPECT_EQ(-1, QvGrayMenu(menu, missing, 1));
  QvGrayAllMenuItems(menu);
  EXPECT_EQ(TEXT("a!b!P!(c!)"), compact(menu));
  EXPECT_EQ(1, QvEnableAllMenuItems(menu));
  EXPECT_EQ(TEXT("abP(c!)"), compact(menu));
  DestroyMenu(menu);
}

TEST(Menus, CommandsAreFoundBelow) {
  const char* at = "ab(c(de))f";
  const HMENU menu = built(at), popup = GetSubMenu(menu, 2), deep = GetSubMenu(popup, 1);
  const struct {
    char command;
    HMENU found;
    int32_t index;
    HMENU level;  // of two levels
    int32_t levelIndex;
  } cases[] = {{'b', menu, 1, menu, -1},
               {'c', popup, 2, popup, 2},
               {'e', deep, 2, nullptr, -1},
               {'f', menu, 3, menu, -1}};
  for (const auto& each : cases) {
    HMENU found = nullptr;
    int32_t index = 77;
    EXPECT_EQ(1, QvFindSubMenu(menu, static_cast<uint32_t>(each.command), &found, &index));
    EXPECT_EQ(each.found, found) << each.command;
    EXPECT_EQ(each.index, index) << each.command;
    EXPECT_EQ(each.level, QvGetSubmenuByID(menu, static_cast<uint32_t>(each.command), &index));
    EXPECT_EQ(each.levelIndex, index) << each.command;
  }
  HMENU found = nullptr;
  int32_t index = 77;
  EXPECT_EQ(0, QvFindSubMenu(menu, 'x', &found, &index));
  EXPECT_EQ(77, index);
  EXPECT_EQ(nullptr, QvGetSubmenuByID(menu, 'x', nullptr));
  DestroyMenu(menu);
}

TEST_F(Resources, TokensAreReplacedAndConversionsAreHarmless) {
  const HMENU menu = CreatePopupMenu(), popup = CreatePopupMenu();
  QvPrintF_AddToken(TEXT("Deck"), TEXT("Deck of the first studio"));
  AppendMenuW(popup, MF_STRING | MF_GRAYED, 7, TEXT("Quit $(Deck)"));
  AppendMenuW(menu, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), TEXT("$(deck) 100%%"));
  AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
  Text conversions;
  for (int i = 0; i < 24; ++i) conversions += TEXT("%s%g");
  AppendMenuW(menu, MF_STRING, 8, conversions.c_str());
  QvMenuReplaceTokens(menu);
  EXPECT_EQ(TEXT("Quit Deck of the first studio!"), shown(popup));
  WCHAR text[100];
  GetMenuStringW(menu, 0, text, 100, MF_BYPOSITION);
  EXPECT_EQ(TEXT("Deck of the first studio 100%"), Text(text));
  EXPECT_EQ(popup, GetSubMenu(menu, 0));
  EXPECT_EQ(7u, GetMenuItemID(popup, 0));
  QvPrintF_DeleteToken(TEXT("Deck"));
  DestroyMenu(menu);
}

}  // namespace
