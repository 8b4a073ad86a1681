#include "qv/lang/dlgtemplate.h"

#include <cstring>
#include <memory>
#include <vector>

#include "lang/resource_modules.h"
#include "qv/lang/detail/dlgtemplate.h"
#include "qv/platform/detail/alloc_seam.h"

namespace {

using namespace resource_modules;

template <typename T>
struct BlockFree {
  void operator()(T* block) const { qv::freeBlock(block); }
};
template <typename T>
using Block = std::unique_ptr<T, BlockFree<T>>;

std::vector<uint32_t> fileBytes(const Text& path, uint32_t* size) {
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  std::vector<uint32_t> bytes(file == INVALID_HANDLE_VALUE ? 0 : GetFileSize(file, nullptr) / 4 + 1);
  DWORD got = 0;
  if (!bytes.empty()) ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size() * 4), &got, nullptr);
  CloseHandle(file);
  *size = got;
  return bytes;
}

// A pool built by hand, entry by entry.
class PoolBytes {
 public:
  PoolBytes() { entry(nullptr, nullptr, 0, ""); }

  void entry(const WCHAR* type, const WCHAR* name, LANGID language, const std::string& data) {
    const size_t start = bytes_.size();
    put<uint32_t>(static_cast<uint32_t>(data.size()));
    put<uint32_t>(0);
    identifier(type);
    identifier(name);
    align();
    for (int i = 0; i < 3; ++i) put<uint16_t>(0);
    put(language);
    for (int i = 0; i < 2; ++i) put<uint32_t>(0);
    const auto header = static_cast<uint32_t>(bytes_.size() - start);
    memcpy(bytes_.data() + start + 4, &header, 4);
    bytes_.insert(bytes_.end(), data.begin(), data.end());
    align();
  }
  _QVRESPOOL pool() const { return {0, static_cast<uint32_t>(bytes_.size()), bytes_.data()}; }

 private:
  template <typename T>
  void put(T value) {
    const auto* data = reinterpret_cast<const uint8_t*>(&value);
    bytes_.insert(bytes_.end(), data, data + sizeof value);
  }
  void identifier(const WCHAR* name) {
    const auto number = reinterpret_cast<uintptr_t>(name);
    if (number < 0x10000) {
      put<uint16_t>(0xffff);
      put(static_cast<uint16_t>(number));
      return;
    }
    do put<uint16_t>(static_cast<uint16_t>(*name));
    while (*name++ != 0);
  }
  void align() { bytes_.resize((bytes_.size() + 3) & ~size_t{3}); }

  std::vector<uint8_t> bytes_;
};

class Pool : public Modules {
 protected:
  void SetUp() override {
    Modules::SetUp();
    bytes = fileBytes(pathOf(TEXT("pool.res")), &compiled.size);
    compiled.data = bytes.data();
    ASSERT_GT(compiled.size, 32u);
  }

  const DLGTEMPLATE* dialog(uint16_t number, uint32_t* size) {
    return QvFindDialogTemplateInResPool(&compiled, size, numbered(number), 1033);
  }
  Block<_qvdlghdrcreateex> mapped(uint16_t number) {
    uint32_t size = 0;
    _qvdlghdrcreateex* header = nullptr;
    const DLGTEMPLATE* found = dialog(number, &size);
    EXPECT_NE(0u, QvMapDialogTemplate(found, size, &header));
    return Block<_qvdlghdrcreateex>(header);
  }

  _QVRESPOOL compiled = {};
  std::vector<uint32_t> bytes;
};

const _qvdlgctrlcreateex* controlsOf(const Block<_qvdlghdrcreateex>& header) {
  return reinterpret_cast<const _qvdlgctrlcreateex*>(header.get() + 1);
}

// ---- Pools ------------------------------------------------------------------------------------------------

TEST_F(Pool, ACompiledFileIsSearchedByTypeAndName) {
  const struct {
    const WCHAR* type;
    const WCHAR* name;
    std::string data;
  } cases[] = {{numbered(10), numbered(11), "main eleven"}, {TEXT("CURVE"), numbered(11), "main curve"},
               {TEXT("curve"), numbered(11), "none"},       {numbered(10), numbered(12), "none"},
               {numbered(10), TEXT("11"), "none"},          {TEXT("10"), numbered(11), "none"}};
  for (const auto& each : cases) {
    uint32_t size = 4;
    LCID found = 0;
    const void* data = QvFindResourceInResPool(&compiled, &size, each.name, each.type, 0, &found);
    EXPECT_EQ(each.data, std::string(data ? static_cast<const char*>(data) : "none", size));
    EXPECT_EQ(data ? 1033u : 0u, found);
  }
}

TEST_F(Pool, TheNearestLanguageServes) {
  PoolBytes bytes1;
  bytes1.entry(numbered(10), TEXT("A"), 1033, "english");
  bytes1.entry(numbered(10), TEXT("A"), 1041, "japanese");
  bytes1.entry(numbered(10), TEXT("A"), 0xc07, "austrian");
  bytes1.entry(numbered(10), TEXT("B"), 1033, "english");
  bytes1.entry(numbered(10), TEXT("B"), 1040, "italian");
  const _QVRESPOOL pool = bytes1.pool();
  const struct {
    LCID kernel, wanted;
    const WCHAR* name;
    std::string data;
  } cases[] = {{0, 0, TEXT("A"), "english"},       {0, 1041, TEXT("A"), "japanese"},
               {0, 0x407, TEXT("A"), "austrian"},  {0, 1041, TEXT("B"), "english"},
               {1040, 1041, TEXT("B"), "italian"}, {1041, 0, TEXT("A"), "japanese"},
               {1040, 1033, TEXT("B"), "english"}};
  for (const auto& each : cases) {
    qv::kernelLanguage->lcid = each.kernel;
    uint32_t size = 0;
    const void* data = QvFindResourceInResPool(&pool, &size, each.name, numbered(10), each.wanted, nullptr);
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(each.data, std::string(static_cast<const char*>(data), size)) << (&each - cases);
  }
  qv::kernelLanguage->lcid = 0;
}

TEST_F(Pool, ADamagedPoolEndsTheSearch) {
  PoolBytes good;
  good.entry(numbered(10), numbered(1), 0, "one!");
  good.entry(numbered(10), numbered(2), 0, "two!");
  _QVRESPOOL pool = good.pool();
  const auto has = [&](uint16_t number) {
    return QvFindResourceInResPool(&pool, nullptr, numbered(number), numbered(10), 0, nullptr) != nullptr;
  };
  EXPECT_TRUE(has(1) && has(2));
  const uint32_t whole = pool.size;
  for (pool.size = 0; pool.size < whole; ++pool.size) {
    EXPECT_EQ(pool.size >= 68, has(1)) << pool.size;
    EXPECT_FALSE(has(2)) << pool.size;
  }
  std::vector<uint8_t> bytes1(static_cast<const uint8_t*>(pool.data),
                              static_cast<const uint8_t*>(pool.data) + whole);
  pool.data = bytes1.data();
  for (const uint32_t wrong : {0u, 12u, 0xfffffff0u, 0xffffffffu}) {
    memcpy(bytes1.data() + 32, &wrong, 4);
    memset(bytes1.data() + 36, 0, 4);
    EXPECT_FALSE(has(1) || has(2)) << wrong;
  }
  EXPECT_EQ(nullptr, QvFindResourceInResPool(nullptr, nullptr, numbered(1), numbered(10), 0, nullptr));
}

// ---- Templates --------------------------------------------------------------------------------------------

TEST_F(Pool, AnExtendedTemplateIsMappedAndMadeAgainByteForByte) {
  uint32_t size = 0, made = 0;
  const DLGTEMPLATE* original = dialog(2, &size);
  const auto header = mapped(2);
  ASSERT_EQ(2, header->controlCount);
  EXPECT_EQ(TEXT("Extended"), Text(header->title));
  EXPECT_EQ(TEXT("MS Sans Serif"), Text(header->face)) << "9 points keep their name";
  EXPECT_EQ(700, header->weight);
  EXPECT_EQ(1, header->italic);
  EXPECT_EQ(81, header->cy);
  const _qvdlgctrlcreateex* controls = controlsOf(header);
  EXPECT_EQ(TEXT("STATIC"), Text(controls[0].className));
  EXPECT_EQ(77u, controls[0].help);
  EXPECT_EQ(70000 & 0xffff, controls[1].id);
  ASSERT_EQ(6, controls[1].extraSize);
  EXPECT_EQ(0, memcmp(controls[1].extra, "\1\0\2\0\3\0", 6));
  std::vector<_qvdlgctrlcreateex> again(controls, controls + 2);
  const Block<DLGTEMPLATE> block(QvCreateDialogTemplateEx(language, header.get(), again.data(), &made));
  ASSERT_EQ(size, made);
  std::vector<uint8_t> expected(size);
  memcpy(expected.data(), original, size);
  // The number of a control is kept in 16 bits.
  const uint32_t number = 70000, cut = 70000 & 0xffff;
  for (size_t i = 0; i + 4 <= size; ++i) {
    if (memcmp(&expected[i], &number, 4) == 0) memcpy(&expected[i], &cut, 4);
  }
  EXPECT_EQ(0, memcmp(expected.data(), block.get(), size));
}

TEST_F(Pool, APlainTemplateIsMadeByteForByte) {
  uint32_t size = 0;
  const DLGTEMPLATE* original = dialog(1, &size);
  const auto header = mapped(1);
  EXPECT_EQ(nullptr, header->face) << "8 points of the stand-in are the stock face";
  EXPECT_EQ(400, header->weight);
  EXPECT_EQ(1, header->charset);
  const _qvdlghdrcreate plain = {
      header->style, header->exStyle, 2, 10, 20, 120, 60, 0, 0, TEXT("Plain"), 8, TEXT("MS Sans Serif")};
  std::vector<_qvdlgctrlcreate> controls;
  for (int i = 0; i < 2; ++i) {
    const _qvdlgctrlcreateex& c = controlsOf(header)[i];
    controls.push_back({c.className, c.title, c.id, c.x, c.y, c.cx, c.cy, c.exStyle, c.style});
  }
  EXPECT_EQ(TEXT("WAVE"), Text(controls[1].className));
  const Block<DLGTEMPLATE> block(QvCreateDialogTemplate(language, &plain, controls.data()));
  EXPECT_EQ(size, GlobalSize(GlobalHandle(block.get())));
  EXPECT_EQ(0, memcmp(original, block.get(), size));
}

TEST_F(Pool, APlainTemplateInTheExtendedFormKeepsItsPlaces) {
  const auto header = mapped(1);
  uint32_t size = 0;
  const Block<DLGTEMPLATE> block(QvCreateDialogTemplateEx(language, header.get(), controlsOf(header), &size));
  _qvdlghdrcreateex* out = nullptr;
  const uint32_t used = QvMapDialogTemplate(block.get(), size, &out);
  const Block<_qvdlghdrcreateex> again(out);
  EXPECT_GT(used, 64u + 2 * 56);
  EXPECT_EQ(TEXT("MS Shell Dlg"), Text(again->face));
  EXPECT_EQ(8, again->pointSize);
  EXPECT_EQ(0, memcmp(&header->x, &again->x, 8));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(0, memcmp(&controlsOf(header)[i].id, &controlsOf(again)[i].id, 10));
}

TEST_F(Pool, WithoutAFaceTheStockOneServesAndHasASizeOfItsOwn) {
  _qvdlghdrcreate header = {DS_SETFONT, 0, 300, 0, 0, 1, 1, 0x11, 0x22, nullptr, 30, nullptr};
  const std::vector<_qvdlgctrlcreate> controls(300);
  for (const LCID kernel : {0u, 1041u}) {
    qv::kernelLanguage->lcid = kernel;
    const Block<DLGTEMPLATE> block(QvCreateDialogTemplate(language, &header, controls.data()));
    EXPECT_EQ(256, block->cdit);
    const uint16_t expected[] = {0xffff, 0x11, 0xffff, 0x22, 0, static_cast<uint16_t>(kernel ? 9 : 8)};
    const auto* words = reinterpret_cast<const uint8_t*>(block.get()) + 18;
    EXPECT_EQ(0, memcmp(words, expected, sizeof expected));
    EXPECT_EQ(0, memcmp(words + sizeof expected, TEXT("MS Shell Dlg"), 26));
  }
  qv::kernelLanguage->lcid = 0;
  EXPECT_EQ(nullptr, QvCreateDialogTemplate(language, &header, nullptr));
  qv::platform::failAllocation(1);
  EXPECT_EQ(nullptr, QvCreateDialogTemplate(language, &header, controls.data()));
  EXPECT_TRUE(qv::platform::allocationFailed());
}

TEST_F(Pool, ATemplateCutShortIsRefused) {
  for (const uint16_t number : {1, 2}) {
    uint32_t size = 0;
    const DLGTEMPLATE* original = dialog(number, &size);
    for (uint32_t cut = 0; cut < size; ++cut) {
      std::unique_ptr<uint8_t[]> tight(new uint8_t[cut]);  // so that reading on is seen
      if (cut != 0) memcpy(tight.get(), original, cut);
      _qvdlghdrcreateex* out = nullptr;
      EXPECT_EQ(0u, QvMapDialogTemplate(reinterpret_cast<DLGTEMPLATE*>(tight.get()), cut, &out)) << cut;
      EXPECT_EQ(nullptr, out);
    }
  }
}

TEST_F(Pool, TemplatesComeFromResourcesToo) {
  const DLGTEMPLATE* found = nullptr;
  uint32_t size = 0;
  const DLGTEMPLATE* original = dialog(1, &size);
  ASSERT_EQ(size, QvDialogTemplateFromRCID(language, numbered(1), &found));
  EXPECT_EQ(0, memcmp(original, found, size));
  found = nullptr;
  EXPECT_EQ(0u, QvDialogTemplateFromRCID(language, numbered(9), &found));
  EXPECT_EQ(nullptr, found);
}

TEST_F(Pool, SizesComeFromTheFaceOrTheInterface) {
  qv::ScreenResourceCalls calls = qv::screenResourceCalls();
  calls.measureFont = [](const qv::DialogFont& font, LPCWSTR, qv::FontMeasure* measure) {
    *measure = {font.weight * 52 / 50, font.italic ? 24 : 16, 0};
    return true;
  };
  qv::setScreenResourceCalls(&calls);
  qv::setInterfaceUnits([](int32_t) -> SIZE { return {4, 8}; });
  _qvdlghdrcreate plain = {DS_SETFONT, 0, 0, 0, 0, 100, 50, 0, 0, nullptr, 8, TEXT("Face")};
  _qvdlghdrcreateex extended = {};
  extended.style = DS_SETFONT;
  extended.cx = 100;
  extended.cy = 50;
  extended.face = TEXT("Face");
  extended.weight = 200;
  extended.italic = 1;
  SIZE size = {};
  EXPECT_EQ(1, QvGetDialogSize(language, &plain, &size));
  EXPECT_TRUE(size.cx == 200 && size.cy == 100);
  EXPECT_EQ(1, QvGetDialogSizeEx(language, &extended, &size));
  EXPECT_TRUE(size.cx == 100 && size.cy == 150);
  plain.face = nullptr;
  EXPECT_EQ(1, QvGetDialogSize(language, &plain, &size));
  EXPECT_TRUE(size.cx == 100 && size.cy == 50);
  qv::setInterfaceUnits(nullptr);
}

// ---- Bitmaps of a pool ------------------------------------------------------------------------------------

std::string image(uint32_t header, uint16_t bits, uint32_t used, size_t pixels) {
  std::string bytes(header, 0);
  memcpy(bytes.data(), &header, 4);
  bytes[4] = 1;
  bytes[header == 12 ? 6 : 8] = 1;
  memcpy(bytes.data() + (header == 12 ? 10 : 14), &bits, 2);
  if (header != 12) memcpy(bytes.data() + 32, &used, 4);
  return bytes + std::string(pixels, 0);
}

TEST_F(Pool, BitmapStaticsCarryTheirBitmap) {
  static std::vector<ptrdiff_t> offsets;
  offsets.clear();
  qv::ScreenResourceCalls calls = qv::screenResourceCalls();
  calls.createBitmap = [](const void* header, const void* pixels) {
    offsets.push_back(static_cast<const char*>(pixels) - static_cast<const char*>(header));
    return reinterpret_cast<HBITMAP>(uintptr_t{0x1234567890});
  };
  qv::setScreenResourceCalls(&calls);
  PoolBytes pictures;
  pictures.entry(numbered(2), numbered(1), 1033, image(40, 8, 3, 12 + 4));
  pictures.entry(numbered(2), numbered(2), 1033, image(12, 1, 0, 6 + 4));
  pictures.entry(numbered(2), numbered(3), 1033, image(40, 4, 0, 64 + 3));  // a byte short
  pictures.entry(numbered(2), TEXT("LOGO"), 1033, image(40, 24, 0, 4));
  const _QVRESPOOL pool = pictures.pool();

  const WCHAR* const titles[] = {numbered(1), numbered(2), numbered(3), TEXT("LOGO"), TEXT("NONE"), TEXT("")};
  std::vector<_qvdlgctrlcreateex> controls;
  for (const WCHAR* title : titles) {
    _qvdlgctrlcreateex control = {};
    control.className = controls.size() % 2 == 0 ? numbered(130) : TEXT("Static");
    control.title = title;
    control.style = 0x50000000 | SS_BITMAP;
    controls.push_back(control);
  }
  // Numbers as titles come from resource compilers; here they are put in place of texts of that length.
  for (size_t i = 0; i < 3; ++i) controls[i].title = TEXT("#");
  _qvdlghdrcreateex header = {};
  header.controlCount = static_cast<uint16_t>(controls.size());
  uint32_t size = 0;
  const Block<DLGTEMPLATE> made(QvCreateDialogTemplateEx(language, &header, controls.data(), &size));
  std::vector<uint8_t> buffer(size + 1000);
  memcpy(buffer.data(), made.get(), size);
  uint16_t number = 1;
  for (size_t i = 0; i + 4 <= size && number < 4; ++i) {
    if (memcmp(&buffer[i], TEXT("#"), 4) != 0) continue;
    const uint16_t words[] = {0xffff, number++};
    memcpy(&buffer[i], words, 4);
  }
  const std::vector<uint8_t> before = buffer;
  const auto dialog = reinterpret_cast<DLGTEMPLATE*>(buffer.data());
  EXPECT_EQ(size, qv::replacePoolBitmaps(&pool, language, dialog, size, size)) << "no room";
  EXPECT_EQ(before, buffer);
  offsets.clear();
  const uint32_t now =
      qv::replacePoolBitmaps(&pool, language, dialog, size, static_cast<uint32_t>(buffer.size()));
  EXPECT_EQ((std::vector<ptrdiff_t>{40 + 12, 12 + 6, 40}), offsets);
  _qvdlghdrcreateex* out = nullptr;
  ASSERT_NE(0u, QvMapDialogTemplate(dialog, now, &out));
  const Block<_qvdlghdrcreateex> mappedAgain(out);
  for (size_t i = 0; i < controls.size(); ++i) {
    const _qvdlgctrlcreateex& control = controlsOf(mappedAgain)[i];
    const bool carries = i == 0 || i == 1 || i == 3;
    EXPECT_EQ(carries ? 10 : 0, control.extraSize) << i;
    if (carries) {
      EXPECT_EQ(0, memcmp(control.extra, "\1\0\x90\x78\x56\x34\x12\0\0\0", 10)) << i;
    }
    const Text expected = i == 5 ? TEXT("Static") : Text(qv::kBitmapStaticClass);
    EXPECT_EQ(expected, Text(control.className)) << i;
  }
}

TEST_F(Pool, ADialogIsShownInTheHandlesLanguage) {
  static uint16_t shown;
  qv::ScreenResourceCalls calls = qv::screenResourceCalls();
  calls.runDialog = [](HINSTANCE, const DLGTEMPLATE* dialog, HWND, DLGPROC, LPARAM parameter) {
    shown = dialog->cdit;
    return INT_PTR{parameter};
  };
  qv::setScreenResourceCalls(&calls);
  EXPECT_EQ(42, QvResPoolDialogBox(&compiled, language, numbered(1), nullptr, nullptr, 42));
  EXPECT_EQ(2, shown);
  EXPECT_EQ(-1, QvResPoolDialogBox(&compiled, language, numbered(9), nullptr, nullptr, 42));
}

}  // namespace
