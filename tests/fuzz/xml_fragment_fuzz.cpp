// Any text is a fragment from outside: it is refused, or becomes a tree whose text reads back as the same tree.
#include <cstdlib>
#include <string>

#include "qv/platform/win32.h"
#include "qv/settings/detail/com_reference.h"
#include "qv/settings/detail/xml_text.h"
#include "qv/settings/xml.h"

namespace {

using namespace qv;
using Text = std::basic_string<WCHAR>;

Text wide(const std::string& bytes) {
  const auto size = static_cast<int>(bytes.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0);
  Text text(static_cast<size_t>(length), 0);
  MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), length);
  return text;
}

// The text of what a fragment becomes; empty when it is refused.
std::string readAndWrite(const std::string& fragment) {
  Reference<IXMLDOMDocument> document;
  if (FAILED(XMLCreateEmptyDocument(document.place()))) abort();
  Reference<IXMLDOMNode> node;
  if (FAILED(XMLCreateAndAddNodeFromXMLFragment(document.get(), document.get(), wide(fragment).c_str(),
                                                node.place()))) {
    return {};
  }
  std::string text;
  if (FAILED(xmlText(node.get(), text)) || text.empty()) abort();
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const HRESULT started = CoInitialize(nullptr);
  if (FAILED(started)) abort();
  const std::string text = readAndWrite(std::string(reinterpret_cast<const char*>(data), size));
  if (!text.empty() && readAndWrite(text) != text) abort();
  return 0;
}
