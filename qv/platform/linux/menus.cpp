// Menus as lists of items under a handle. A template is a stranger's: nothing is read beyond its resource.
#include "qv/platform/menus.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/resource_file.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/resources.h"

namespace {

struct Item {
  UINT flags = 0;  // kind and state, without MF_POPUP: `popup` says so
  UINT number = 0;
  std::u16string text;
  HMENU popup = nullptr;
};

}  // namespace

struct HMENU__ {
  std::vector<Item> items;
};
struct HACCEL__ {
  std::vector<ACCEL> keys;
};

namespace qv::platform {
namespace {

constexpr UINT kNone = UINT(-1);
// Deeper than any user would go; a menu put below itself ends here.
constexpr int kDeepest = 32;
constexpr UINT kStateBits = MF_GRAYED | MF_DISABLED;
constexpr UINT kKeptFlags = 0xffff & ~(MF_POPUP | MF_END | MF_BYPOSITION);
constexpr BYTE kLastKey = 0x80;

// The handles that live, so that a stale one fails and doesn't crash.
template <typename T>
class Living {
 public:
  T* add(std::unique_ptr<T> object) {
    const std::lock_guard lock(lock_);
    return *objects_.insert(object.release()).first;
  }
  bool has(T* object) {
    const std::lock_guard lock(lock_);
    return objects_.count(object) != 0;
  }
  std::unique_ptr<T> take(T* object) {
    const std::lock_guard lock(lock_);
    return std::unique_ptr<T>(objects_.erase(object) != 0 ? object : nullptr);
  }

 private:
  std::mutex lock_;
  std::unordered_set<T*> objects_;
};

Living<HMENU__>& menus() {
  static auto& living = *new Living<HMENU__>;
  return living;
}
Living<HACCEL__>& tables() {
  static auto& living = *new Living<HACCEL__>;
  return living;
}

struct Place {
  HMENU menu = nullptr;
  size_t index = 0;
  Item& item() const { return menu->items[index]; }
};

// By command the pop-ups are searched where they stand; a pop-up's own number counts last.
Place findCommand(HMENU menu, UINT number, int depth) {
  Place fallback;
  if (depth == 0 || !menus().has(menu)) return fallback;
  for (size_t i = 0; i < menu->items.size(); ++i) {
    const Item& item = menu->items[i];
    const Place here{menu, i};
    if (item.popup == nullptr) {
      if (item.number == number) return here;
      continue;
    }
    if (const Place below = findCommand(item.popup, number, depth - 1); below.menu != nullptr) return below;
    if (item.number == number) fallback = here;
  }
  return fallback;
}

Place find(HMENU menu, UINT item, UINT flags) {
  if (!menus().has(menu)) return failWith(ERROR_INVALID_HANDLE, Place{});
  Place place;
  if ((flags & MF_BYPOSITION) == 0) {
    place = findCommand(menu, item, kDeepest);
  } else if (item < menu->items.size()) {
    place = {menu, item};
  }
  if (place.menu == nullptr) SetLastError(ERROR_INVALID_PARAMETER);
  return place;
}

Item itemFrom(UINT flags, UINT_PTR number, LPCWSTR text) {
  Item item;
  item.flags = flags & kKeptFlags;
  if ((flags & MF_POPUP) != 0) {
    item.popup = reinterpret_cast<HMENU>(number);
  } else {
    item.number = static_cast<UINT>(number);
  }
  const bool isText = (flags & (MF_SEPARATOR | MF_BITMAP | MF_OWNERDRAW)) == 0;
  if (isText && text != nullptr) item.text = text;
  if (isText && text == nullptr && item.popup == nullptr) item.flags |= MF_SEPARATOR;
  return item;
}

// Reads a template within its bounds; past them it answers with zeros and stays failed.
class TemplateReader {
 public:
  TemplateReader(const uint8_t* begin, size_t size) : begin_(begin), size_(size) {}

  template <typename T>
  T take() {
    T value{};
    if (failed_ || size_ - at_ < sizeof(T)) {
      failed_ = true;
      return value;
    }
    memcpy(&value, begin_ + at_, sizeof(T));
    at_ += sizeof(T);
    return value;
  }
  std::u16string takeText() {
    std::u16string text;
    for (char16_t unit = take<char16_t>(); unit != 0; unit = take<char16_t>()) text += unit;
    return text;
  }
  void skip(size_t bytes) {
    failed_ = failed_ || size_ - at_ < bytes;
    if (!failed_) at_ += bytes;
  }
  // The last item of all may end unaligned.
  void align() { at_ = std::min((at_ + 3) & ~size_t{3}, size_); }
  void fail() { failed_ = true; }
  bool failed() const { return failed_; }

 private:
  const uint8_t* begin_;
  size_t size_;
  size_t at_ = 0;
  bool failed_ = false;
};

using ReadItems = void (*)(TemplateReader& reader, HMENU menu, int depth);

HMENU readPopup(TemplateReader& reader, int depth, ReadItems readItems) {
  const HMENU popup = CreatePopupMenu();
  if (depth == 0) reader.fail();
  if (!reader.failed()) readItems(reader, popup, depth - 1);
  return popup;
}

void readPlain(TemplateReader& reader, HMENU menu, int depth) {
  for (bool last = false; !last && !reader.failed();) {
    const UINT flags = reader.take<WORD>();
    last = (flags & MF_END) != 0;
    Item item;
    item.flags = flags & kKeptFlags;
    const bool popup = (flags & MF_POPUP) != 0;
    if (!popup) item.number = reader.take<WORD>();
    item.text = reader.takeText();
    if (popup) item.popup = readPopup(reader, depth, readPlain);
    if (!popup && item.text.empty()) item.flags |= MF_SEPARATOR;
    menu->items.push_back(std::move(item));
  }
}

void readExtended(TemplateReader& reader, HMENU menu, int depth) {
  constexpr WORD kPopup = 1;
  for (bool last = false; !last && !reader.failed();) {
    Item item;
    const DWORD type = reader.take<DWORD>();
    const DWORD state = reader.take<DWORD>();
    item.flags = (type | state) & kKeptFlags;
    item.number = reader.take<DWORD>();
    const WORD kind = reader.take<WORD>();
    last = (kind & MF_END) != 0;
    item.text = reader.takeText();
    reader.align();
    if ((kind & kPopup) != 0) {
      reader.take<DWORD>();  // help number
      item.popup = readPopup(reader, depth, readExtended);
    }
    menu->items.push_back(std::move(item));
  }
}

HMENU menuFrom(const uint8_t* bytes, size_t size) {
  TemplateReader reader(bytes, size);
  const WORD version = reader.take<WORD>();
  const WORD offset = reader.take<WORD>();
  reader.skip(offset);
  if (version > 1) reader.fail();
  const HMENU menu = CreateMenu();
  if (!reader.failed()) (version == 0 ? readPlain : readExtended)(reader, menu, kDeepest);
  if (!reader.failed()) return menu;
  DestroyMenu(menu);
  return failWith(ERROR_INVALID_DATA, HMENU());
}

bool takeOut(HMENU menu, UINT item, UINT flags, HMENU* popup) {
  const Place place = find(menu, item, flags);
  if (place.menu == nullptr) return false;
  *popup = place.item().popup;
  place.menu->items.erase(place.menu->items.begin() + static_cast<ptrdiff_t>(place.index));
  return true;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HMENU CreateMenu() {
  return menus().add(std::make_unique<HMENU__>());
}

HMENU CreatePopupMenu() {
  return CreateMenu();
}

BOOL DestroyMenu(HMENU menu) {
  const std::unique_ptr<HMENU__> owned = menus().take(menu);
  if (!owned) return fail(ERROR_INVALID_HANDLE);
  for (const Item& item : owned->items) {
    if (item.popup != nullptr) DestroyMenu(item.popup);
  }
  return TRUE;
}

BOOL IsMenu(HMENU menu) {
  return menus().has(menu);
}

HMENU LoadMenuW(HINSTANCE module, LPCWSTR name) {
  const HRSRC found = FindResourceW(module, name, MAKEINTRESOURCEW(4));
  if (found == nullptr) return nullptr;
  return menuFrom(static_cast<const uint8_t*>(LockResource(LoadResource(module, found))),
                  SizeofResource(module, found));
}

HMENU LoadMenuIndirectW(const void* menuTemplate) {
  if (menuTemplate == nullptr) return failWith(ERROR_INVALID_PARAMETER, HMENU());
  const auto* bytes = static_cast<const uint8_t*>(menuTemplate);
  const uint8_t* end = resourceEnd(bytes);
  return menuFrom(bytes, end != nullptr ? static_cast<size_t>(end - bytes) : SIZE_MAX / 2);
}

int GetMenuItemCount(HMENU menu) {
  return menus().has(menu) ? static_cast<int>(menu->items.size()) : failWith(ERROR_INVALID_HANDLE, -1);
}

UINT GetMenuItemID(HMENU menu, int position) {
  const Place place = find(menu, static_cast<UINT>(position), MF_BYPOSITION);
  return place.menu == nullptr || place.item().popup != nullptr ? kNone : place.item().number;
}

HMENU GetSubMenu(HMENU menu, int position) {
  const Place place = find(menu, static_cast<UINT>(position), MF_BYPOSITION);
  return place.menu == nullptr ? nullptr : place.item().popup;
}

UINT GetMenuState(HMENU menu, UINT item, UINT flags) {
  const Place place = find(menu, item, flags);
  if (place.menu == nullptr) return kNone;
  const Item& found = place.item();
  if (found.popup == nullptr) return found.flags;
  const auto count = static_cast<UINT>(std::max(GetMenuItemCount(found.popup), 0));
  return count << 8 | (found.flags & 0xff) | MF_POPUP;
}

int GetMenuStringW(HMENU menu, UINT item, LPWSTR text, int capacity, UINT flags) {
  if (text != nullptr && capacity > 0) text[0] = 0;
  const Place place = find(menu, item, flags);
  if (place.menu == nullptr) return 0;
  const std::u16string& own = place.item().text;
  if (text == nullptr || capacity <= 0) return static_cast<int>(own.size());
  const size_t copied = own.copy(text, static_cast<size_t>(capacity) - 1);
  text[copied] = 0;
  return static_cast<int>(copied);
}

BOOL AppendMenuW(HMENU menu, UINT flags, UINT_PTR number, LPCWSTR text) {
  return InsertMenuW(menu, kNone, flags | MF_BYPOSITION, number, text);
}

BOOL InsertMenuW(HMENU menu, UINT before, UINT flags, UINT_PTR number, LPCWSTR text) {
  if (!menus().has(menu)) return fail(ERROR_INVALID_HANDLE);
  if ((flags & MF_POPUP) != 0 && !menus().has(reinterpret_cast<HMENU>(number)))
    return fail(ERROR_INVALID_HANDLE);
  const bool atEnd = (flags & MF_BYPOSITION) != 0 && before >= menu->items.size();
  const Place place = atEnd ? Place{menu, menu->items.size()} : find(menu, before, flags);
  if (place.menu == nullptr) return FALSE;
  place.menu->items.insert(place.menu->items.begin() + static_cast<ptrdiff_t>(place.index),
                           itemFrom(flags, number, text));
  return TRUE;
}

BOOL ModifyMenuW(HMENU menu, UINT item, UINT flags, UINT_PTR number, LPCWSTR text) {
  const Place place = find(menu, item, flags);
  if (place.menu == nullptr) return FALSE;
  place.item() = itemFrom(flags, number, text);
  return TRUE;
}

BOOL DeleteMenu(HMENU menu, UINT item, UINT flags) {
  HMENU popup = nullptr;
  if (!takeOut(menu, item, flags, &popup)) return FALSE;
  if (popup != nullptr) DestroyMenu(popup);
  return TRUE;
}

BOOL RemoveMenu(HMENU menu, UINT item, UINT flags) {
  HMENU popup = nullptr;
  return takeOut(menu, item, flags, &popup);
}

BOOL EnableMenuItem(HMENU menu, UINT item, UINT flags) {
  const Place place = find(menu, item, flags);
  if (place.menu == nullptr) return -1;
  const UINT before = place.item().flags & kStateBits;
  place.item().flags = (place.item().flags & ~kStateBits) | (flags & kStateBits);
  return static_cast<BOOL>(before);
}

HACCEL CreateAcceleratorTableW(ACCEL* keys, int count) {
  if (keys == nullptr || count < 1) return failWith(ERROR_INVALID_PARAMETER, HACCEL());
  auto table = std::make_unique<HACCEL__>();
  table->keys.assign(keys, keys + count);
  for (ACCEL& key : table->keys) key.fVirt &= static_cast<BYTE>(~kLastKey);
  return tables().add(std::move(table));
}

// In a resource a key takes 8 bytes, the last two of them unused, and the last one is marked.
HACCEL LoadAcceleratorsW(HINSTANCE module, LPCWSTR name) {
  const HRSRC found = FindResourceW(module, name, MAKEINTRESOURCEW(9));
  if (found == nullptr) return nullptr;
  const auto* bytes = static_cast<const uint8_t*>(LockResource(LoadResource(module, found)));
  std::vector<ACCEL> keys(SizeofResource(module, found) / 8);
  size_t count = 0;
  for (bool last = false; count < keys.size() && !last; ++count) {
    memcpy(&keys[count], bytes + count * 8, sizeof(ACCEL));
    last = (keys[count].fVirt & kLastKey) != 0;
  }
  return CreateAcceleratorTableW(keys.data(), static_cast<int>(count));
}

int CopyAcceleratorTableW(HACCEL table, ACCEL* keys, int count) {
  if (!tables().has(table)) return failWith(ERROR_INVALID_HANDLE, 0);
  const int all = static_cast<int>(table->keys.size());
  if (keys == nullptr) return all;
  const int copied = std::clamp(count, 0, all);
  std::copy_n(table->keys.begin(), copied, keys);
  return copied;
}

BOOL DestroyAcceleratorTable(HACCEL table) {
  return tables().take(table) ? TRUE : fail(ERROR_INVALID_HANDLE);
}
