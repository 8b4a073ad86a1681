#include "qv/settings/configmgr.h"

#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "qv/core/printf.h"
#include "qv/frame/cpu.h"
#include "qv/frame/detail/cpu.h"
#include "qv/frame/os.h"
#include "qv/frame/status.h"
#include "qv/lang/detail/handle.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/win32.h"
#include "qv/settings/detail/com_reference.h"
#include "qv/settings/detail/configmgr.h"
#include "qv/settings/detail/xml_text.h"
#include "qv/settings/folders.h"
#include "qv/settings/xml.h"

namespace qv {
namespace {

using WText = std::basic_string<WCHAR>;
using WTextView = std::basic_string_view<WCHAR>;

bool realMemory(MEMORYSTATUSEX* status) {
  return GlobalMemoryStatusEx(status) != 0;
}
bool realAdapter(DWORD index, DISPLAY_DEVICEW* adapter) {
  return EnumDisplayDevicesW(nullptr, index, adapter, 0) != 0;
}
UINT realProduct(DWORD index, WCHAR* code) {
  return MsiEnumProductsW(index, code);
}
UINT realProductFact(const WCHAR* code, const WCHAR* property, WCHAR* value, DWORD* capacity) {
  return MsiGetProductInfoW(code, property, value, capacity);
}
uint32_t realProcessorWord() {
  return QvGetCPUSupport(0);
}

constexpr ReportPort kRealPort = {
    realProduct,       realProductFact,     QvGetOS,    platform::systemVersion, cpuBrand,   cpuVendor,
    realProcessorWord, QvGetProcessorCount, realMemory, platform::screenMode,    realAdapter};
ReportPort port = kRealPort;

// ---- products -------------------------------------------------------------------------------------------

// The publisher in capital letters; empty when it can't be read.
WText publisherOf(const WCHAR* code) {
  constexpr DWORD kUsualCapacity = 512;
  WText text(kUsualCapacity, 0);
  DWORD capacity = kUsualCapacity;
  UINT error = port.productFact(code, TEXT("Publisher"), text.data(), &capacity);
  if (error == ERROR_MORE_DATA) {
    text.assign(++capacity, 0);
    error = port.productFact(code, TEXT("Publisher"), text.data(), &capacity);
  }
  if (error != ERROR_SUCCESS) return {};
  text.resize(static_cast<size_t>(lstrlenW(text.c_str())));
  CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

bool isOurs(const WText& publisher) {
  return publisher.find(TEXT("HALDEN")) != publisher.npos ||
         publisher.find(TEXT("TESSALY")) != publisher.npos;
}

template <size_t capacity>
bool readFact(const WCHAR* code, const WCHAR* property, WCHAR (&value)[capacity]) {
  DWORD room = capacity;
  return port.productFact(code, property, value, &room) == ERROR_SUCCESS;
}

HRESULT addProduct(tQVLIST* products, const WCHAR* code) {
  ProductEntry entry = {};
  if (!readFact(code, TEXT("VersionString"), entry.version) ||
      !readFact(code, TEXT("InstalledProductName"), entry.name)) {
    return kGeneralFailure;
  }
  lstrcpynW(entry.code, code, 40);
  QvCchPrintF(entry.language, 16, nullptr, TEXT("%d"), QvLang_GetLCID(kernelLanguage));
  QvCchPrintF(entry.locale, 16, nullptr, TEXT("%i"), QvGetLocale());
  return QvList_AllocAndInsertItem(products, &entry, sizeof entry, -1, nullptr);
}

HRESULT collectProducts(tQVLIST* products) {
  WCHAR code[40] = {};
  HRESULT status = kOk;
  for (DWORD index = 0; SUCCEEDED(status) && port.product(index, code) == ERROR_SUCCESS; ++index) {
    if (isOurs(publisherOf(code))) status = addProduct(products, code);
  }
  return status;
}

// ---- facts ----------------------------------------------------------------------------------------------

const WCHAR* className(uint32_t word) {
  constexpr const WCHAR* kNames[] = {TEXT("Generic"),     TEXT("i486"),       TEXT("Pentium"),
                                     TEXT("Pentium Pro"), TEXT("Pentium II"), TEXT("Pentium III"),
                                     TEXT("Pentium 4")};
  const uint32_t number = word & QVCPU_CLASS;
  return kNames[number < std::size(kNames) ? number : 0];
}

WText processorClass(uint32_t word) {
  WCHAR text[64] = {};
  return SUCCEEDED(port.processorName(text, 64)) ? text : className(word);
}

WText processorMaker() {
  WCHAR text[16] = {};
  if (FAILED(port.processorMaker(text, 16))) return TEXT("Unknown");
  WText printable = text;
  std::erase_if(printable, [](WCHAR each) { return each < 0x20 || each > 0x7e; });
  return printable;
}

WText versionText() {
  OSVERSIONINFOEXW version = {};
  port.systemVersion(&version);
  WCHAR text[200];
  QvCchPrintF(text, 200, nullptr,
              version.szCSDVersion[0] != 0 ? TEXT("%d.%.02d.%.03d (%s)") : TEXT("%d.%.02d.%.03d"),
              version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber, version.szCSDVersion);
  return text;
}

// The id of the primary adapter, PCI\VEN_xxxx&DEV_yyyy; empty without one.
WText primaryAdapter() {
  DISPLAY_DEVICEW adapter = {};
  adapter.cb = sizeof adapter;
  for (DWORD index = 0; port.adapter(index, &adapter); ++index) {
    if ((adapter.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0) {
      WCHAR id[128];
      lstrcpynW(id, adapter.DeviceID, 128);
      return id;
    }
  }
  return {};
}

WText fourFrom(const WText& id, size_t place) {
  return place < id.size() ? id.substr(place, 4) : WText();
}

// ---- the tree -------------------------------------------------------------------------------------------

// Adds to the document until something fails; from then on it does nothing and knows why.
class Tree {
 public:
  using Node = Reference<IXMLDOMNode>;

  Tree() { status_ = XMLCreateEmptyDocument(document_.place()); }

  HRESULT status() const { return status_; }
  IXMLDOMDocument* document() const { return document_.get(); }
  void note(HRESULT status) {
    if (SUCCEEDED(status_)) status_ = status;
  }

  Node root(const WCHAR* name, const WCHAR* attribute, int32_t number) {
    Node node;
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I4;
    value.lVal = number;
    if (SUCCEEDED(status_)) {
      status_ = XMLCreateAndAddElementWithAttribute(document_.get(), document_.get(), name, attribute, value,
                                                    node.place());
    }
    return node;
  }
  Node add(const Node& parent, const WCHAR* name) {
    Node node;
    if (SUCCEEDED(status_)) {
      status_ = XMLCreateAndAddElement(document_.get(), parent.get(), name, node.place());
    }
    return node;
  }
  void addText(const Node& parent, const WCHAR* name, const WText& text) {
    const Node element = add(parent, name);
    Node node;
    if (SUCCEEDED(status_)) {
      status_ = XMLCreateAndAddTextElement(document_.get(), element.get(), text.c_str(), node.place());
    }
  }
  void addNumber(const Node& parent, const WCHAR* name, uint32_t number) {
    WCHAR text[16];
    QvCchPrintF(text, 16, nullptr, TEXT("%u"), number);
    addText(parent, name, text);
  }

 private:
  Reference<IXMLDOMDocument> document_;
  HRESULT status_;
};

void addProducts(Tree& tree, const Tree::Node& root, const tQVLIST* products) {
  struct Row {
    const WCHAR* name;
    const WCHAR* (*text)(const ProductEntry& entry);
  };
  constexpr Row kRows[] = {
      {TEXT("productcodeguid"), [](const ProductEntry& entry) -> const WCHAR* { return entry.code; }},
      {TEXT("productname"), [](const ProductEntry& entry) -> const WCHAR* { return entry.name; }},
      {TEXT("version"), [](const ProductEntry& entry) -> const WCHAR* { return entry.version; }},
      {TEXT("language"), [](const ProductEntry& entry) -> const WCHAR* { return entry.language; }},
      {TEXT("locale"), [](const ProductEntry& entry) -> const WCHAR* { return entry.locale; }},
  };
  for (int32_t i = 0; i < products->itemCount; ++i) {
    const Tree::Node product = tree.add(root, TEXT("product"));
    for (const Row& row : kRows) {
      tree.addText(product, row.name, row.text(*static_cast<ProductEntry*>(listPointers(products)[i])));
    }
  }
}

void addSystem(Tree& tree, const Tree::Node& machine) {
  const Tree::Node system = tree.add(machine, TEXT("os"));
  WCHAR name[128] = {};
  port.systemName(name, 128);
  if (*name == 0) return;
  tree.addText(system, TEXT("platform"), name);
  tree.addText(system, TEXT("version"), versionText());
}

void addProcessor(Tree& tree, const Tree::Node& machine) {
  struct Row {
    uint32_t bit;
    const WCHAR* name;
  };
  constexpr Row kFeatures[] = {
      {QVCPU_MMX, TEXT("mmx")},       {QVCPU_SSE, TEXT("sse")},     {QVCPU_SSE2, TEXT("sse2")},
      {QVCPU_SSE3, TEXT("sse3")},     {QVCPU_SSSE3, TEXT("ssse3")}, {QVCPU_SSE4_1, TEXT("sse4_1")},
      {QVCPU_SSE4_2, TEXT("sse4_2")}, {QVCPU_AVX, TEXT("avx")},
  };
  const uint32_t word = port.processorWord();
  const Tree::Node processor = tree.add(machine, TEXT("cpu"));
  tree.addText(processor, TEXT("class"), processorClass(word));
  tree.addText(processor, TEXT("id"), processorMaker());
  tree.addNumber(processor, TEXT("numbercpus"), port.processorCount());
  for (const Row& feature : kFeatures) {
    if ((word & feature.bit) != 0) tree.add(processor, feature.name);
  }
}

void addMemory(Tree& tree, const Tree::Node& machine) {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  const Tree::Node memory = tree.add(machine, TEXT("memory"));
  if (!port.memory(&status)) return;
  const auto mebibytes = [](uint64_t bytes) { return static_cast<uint32_t>(bytes >> 20); };
  tree.addNumber(memory, TEXT("physical"), mebibytes(status.ullTotalPhys));
  tree.addNumber(memory, TEXT("paging"), mebibytes(status.ullTotalPageFile));
  tree.addNumber(memory, TEXT("virtual"), mebibytes(status.ullTotalVirtual));
}

void addVideo(Tree& tree, const Tree::Node& machine) {
  const Tree::Node video = tree.add(machine, TEXT("video"));
  const Tree::Node display = tree.add(video, TEXT("display"));
  platform::ScreenMode mode = {};
  if (port.screen(&mode)) {
    tree.addNumber(display, TEXT("HorzRes"), static_cast<uint32_t>(mode.width));
    tree.addNumber(display, TEXT("VertRes"), static_cast<uint32_t>(mode.height));
    if (mode.bits != 0) tree.addNumber(display, TEXT("BitsPixel"), static_cast<uint32_t>(mode.bits));
  }
  const Tree::Node device = tree.add(video, TEXT("device"));
  const WText id = primaryAdapter();
  constexpr size_t kVendorPlace = 8, kDevicePlace = 17;
  const WText vendorId = fourFrom(id, kVendorPlace), deviceId = fourFrom(id, kDevicePlace);
  if (!vendorId.empty()) tree.addText(device, TEXT("vendorID"), vendorId);
  if (!deviceId.empty()) tree.addText(device, TEXT("deviceID"), deviceId);
}

void addMachine(Tree& tree, const Tree::Node& root) {
  const Tree::Node machine = tree.add(root, TEXT("regmachine"));
  addSystem(tree, machine);
  addProcessor(tree, machine);
  addMemory(tree, machine);
  addVideo(tree, machine);
}

// ---- what becomes of it ---------------------------------------------------------------------------------

// The file that the vendor's key names for support staff; empty for none.
WText supportFile(const WCHAR* vendor) {
  constexpr DWORD kMostBytes = 520;
  WCHAR path[300];
  HKEY key = nullptr;
  if (*vendor == 0 || FAILED(QvCchPrintF(path, 300, nullptr, TEXT("Software\\%s"), vendor)) ||
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return {};
  }
  WCHAR file[kMostBytes / sizeof(WCHAR) + 1] = {};
  DWORD type = 0, bytes = kMostBytes;
  const LSTATUS status = RegQueryValueExW(key, TEXT("QvConfigMgrXmlFile"), nullptr, &type,
                                          reinterpret_cast<BYTE*>(file), &bytes);
  RegCloseKey(key);
  return status == ERROR_SUCCESS && type == REG_SZ ? file : WText();
}

// Nothing depends on it: what goes wrong here is nobody's failure.
void saveForSupport(IXMLDOMDocument* document, const WCHAR* vendor) {
  const WText file = supportFile(vendor);
  if (file.empty()) return;
  DeleteFileW(file.c_str());
  OwnedVariant path;
  path.get().bstrVal = SysAllocString(file.c_str());
  if (path.get().bstrVal == nullptr) return;
  path.get().vt = VT_BSTR;
  document->save(path.get());
}

HRESULT giveBlock(IXMLDOMDocument* document, uint32_t* size, void** report) {
  std::string bytes;
  if (const HRESULT status = xmlText(document, bytes); FAILED(status)) return status;
  void* block = platform::taskAlloc(bytes.size());
  if (block == nullptr) return kOutOfMemory;
  memcpy(block, bytes.data(), bytes.size());
  *report = block;
  *size = static_cast<uint32_t>(bytes.size());
  return kOk;
}

HRESULT createList(tQVLIST** list) {
  return QvList_CreateExZ(list, sizeof(void*), -1, -1, kListFreeThreaded | kListHeap, 0, 0, 0);
}

void destroyList(tQVLIST*& list) {
  if (list != nullptr) QvList_Destroy(list);
  list = nullptr;
}

}  // namespace

ReportPort& reportPort() {
  return port;
}

void resetReportPort() {
  port = kRealPort;
}

}  // namespace qv

using namespace qv;

HRESULT CQvConfigMgr::CreateInstance(IQvConfigMgr** manager) {
  if (manager == nullptr) return kInvalidArgument;
  void* block = platform::globalAlloc(GMEM_ZEROINIT, sizeof(CQvConfigMgr));
  *manager = block != nullptr ? new (block) CQvConfigMgr : nullptr;
  return *manager != nullptr ? kOk : kOutOfMemory;
}

void CQvConfigMgr::operator delete(void* block) {
  GlobalFree(block);
}

CQvConfigMgr::~CQvConfigMgr() {
  destroyList(products_);
  destroyList(components_);
}

HRESULT CQvConfigMgr::QueryInterface(REFIID id, void** object) {
  if (object == nullptr) return kNullPointer;
  const bool known = id == IID_IUnknown || id == IID_IQvConfigMgr;
  *object = known ? static_cast<IQvConfigMgr*>(this) : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return kOk;
}

ULONG CQvConfigMgr::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&references_));
}

ULONG CQvConfigMgr::Release() {
  const LONG left = InterlockedDecrement(&references_);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT CQvConfigMgr::GetConfigXml(const WCHAR* userName, uint32_t flags, uint32_t* size, void** report) {
  return GetConfigXmlForVendor(userName, TEXT("Halden Media Works"), flags, size, report);
}

HRESULT CQvConfigMgr::GetConfigXmlForVendor(const WCHAR* userName, const WCHAR* vendor, uint32_t flags,
                                            uint32_t* size, void** report) {
  lstrcpynW(vendor_, vendor != nullptr ? vendor : TEXT(""), 260);
  if (size == nullptr || report == nullptr) return kInvalidArgument;
  *size = 0;
  *report = nullptr;
  HRESULT status = createList(&products_);
  if (SUCCEEDED(status)) status = createList(&components_);
  if (SUCCEEDED(status)) {
    try {
      status = build(userName, flags, size, report);
    } catch (const std::bad_alloc&) {
      status = kOutOfMemory;
    }
  }
  destroyList(products_);
  destroyList(components_);
  return status;
}

HRESULT CQvConfigMgr::build(const WCHAR* userName, uint32_t flags, uint32_t* size, void** report) {
  constexpr int32_t kFormatVersion = 2;
  Tree tree;
  const Tree::Node root = tree.root(TEXT("configinfo"), TEXT("version"), kFormatVersion);
  if (userName != nullptr && *userName != 0) tree.addText(root, TEXT("user"), userName);
  if ((flags & QVCONFIG_PRODUCTS) != 0) {
    tree.note(collectProducts(products_));
    addProducts(tree, root, products_);
  }
  if ((flags & QVCONFIG_MACHINE) != 0) addMachine(tree, root);
  if (FAILED(tree.status())) return tree.status();
  saveForSupport(tree.document(), vendor_);
  return giveBlock(tree.document(), size, report);
}
