#include "qv/settings/detail/xml_text.h"

#include <string_view>
#include <vector>

#include "qv/platform/text.h"
#include "qv/settings/detail/com_reference.h"

namespace qv {
namespace {

using WText = std::basic_string<WCHAR>;
using WTextView = std::basic_string_view<WCHAR>;

std::string utf8From(const WText& text) {
  const auto length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

struct Escape {
  const WCHAR* text;
  WCHAR character;
  bool inAttributesOnly;
};
// A bare carriage return would be read back as a line feed; in attributes all white space as a blank.
constexpr Escape kEscapes[] = {
    {TEXT("&amp;"), '&', false},  {TEXT("&lt;"), '<', false},  {TEXT("&gt;"), '>', false},
    {TEXT("&#13;"), '\r', false}, {TEXT("&quot;"), '"', true}, {TEXT("&#9;"), '\t', true},
    {TEXT("&#10;"), '\n', true},
};

bool isAllowed(WCHAR character) {
  return character >= 0x20 ? character < 0xfffe : character == '\t' || character == '\n' || character == '\r';
}

std::string escaped(WTextView text, bool attribute) {
  WText result;
  for (const WCHAR each : text) {
    const Escape* found = nullptr;
    for (const Escape& row : kEscapes) {
      if (row.character == each && (attribute || !row.inAttributesOnly)) found = &row;
    }
    if (found != nullptr) {
      result += found->text;
    } else {
      result += isAllowed(each) ? each : static_cast<WCHAR>(0xfffd);
    }
  }
  return utf8From(result);
}

HRESULT nameOf(IXMLDOMNode* node, std::string& name) {
  OwnedBstr text;
  const HRESULT status = node->get_nodeName(text.place());
  if (SUCCEEDED(status)) name = utf8From(WText(text.get(), SysStringLen(text.get())));
  return status;
}

HRESULT valueOf(IXMLDOMNode* node, WText& value) {
  OwnedVariant content;
  const HRESULT status = node->get_nodeValue(content.place());
  if (content.get().vt == VT_BSTR) value.assign(content.get().bstrVal, SysStringLen(content.get().bstrVal));
  return status;
}

// Writes the tree in document order. A start tag stays open until it is known whether anything follows.
class Writer {
 public:
  explicit Writer(std::string& bytes) : bytes_(bytes) {}

  // Without recursion: nobody bounds how deep a tree is.
  HRESULT write(IXMLDOMNode* root) {
    HRESULT status = begin(root);
    std::vector<Level> way;
    if (SUCCEEDED(status)) status = enter(root, way);
    while (SUCCEEDED(status) && !way.empty()) {
      Level& level = way.back();
      if (!level.child) {
        end(level);
        way.pop_back();
        continue;
      }
      Reference<IXMLDOMNode> node = std::move(level.child);
      status = node->get_nextSibling(level.child.place());
      if (SUCCEEDED(status)) status = begin(node.get());
      if (SUCCEEDED(status)) status = enter(node.get(), way);
    }
    return status;
  }

 private:
  struct Level {
    std::string name;  // of the element; empty for the document
    Reference<IXMLDOMNode> child;
  };

  HRESULT enter(IXMLDOMNode* node, std::vector<Level>& way) {
    DOMNodeType type = NODE_INVALID;
    HRESULT status = node->get_nodeType(&type);
    if (FAILED(status) || (type != NODE_ELEMENT && type != NODE_DOCUMENT)) return status;
    Level level;
    if (type == NODE_ELEMENT) status = nameOf(node, level.name);
    if (SUCCEEDED(status)) status = node->get_firstChild(level.child.place());
    if (SUCCEEDED(status)) way.push_back(std::move(level));
    return status;
  }

  void end(const Level& level) {
    if (level.name.empty()) return;
    bytes_ += open_ ? "/>" : "</" + level.name + ">";
    open_ = false;
  }

  void add(const std::string& text) {
    if (text.empty()) return;
    if (open_) bytes_ += '>';
    open_ = false;
    bytes_ += text;
  }

  HRESULT begin(IXMLDOMNode* node) {
    DOMNodeType type = NODE_INVALID;
    HRESULT status = node->get_nodeType(&type);
    if (FAILED(status) || type == NODE_DOCUMENT) return status;
    std::string name;
    WText value;
    status = nameOf(node, name);
    if (SUCCEEDED(status) && type != NODE_ELEMENT) status = valueOf(node, value);
    if (FAILED(status)) return status;
    switch (type) {
      case NODE_ELEMENT:
        return beginElement(node, name);
      case NODE_TEXT:
      case NODE_CDATA_SECTION:
        add(escaped(value, false));
        return S_OK;
      case NODE_COMMENT:
        add("<!--" + utf8From(value) + "-->");
        return S_OK;
      case NODE_PROCESSING_INSTRUCTION:
        add("<?" + name + " " + utf8From(value) + "?>");
        return S_OK;
      default:
        return E_FAIL;
    }
  }

  HRESULT beginElement(IXMLDOMNode* node, const std::string& name) {
    add("<" + name);
    open_ = true;
    Reference<IXMLDOMNamedNodeMap> attributes;
    HRESULT status = node->get_attributes(attributes.place());
    LONG count = 0;
    if (SUCCEEDED(status) && attributes) status = attributes->get_length(&count);
    for (LONG i = 0; SUCCEEDED(status) && i < count; ++i) status = addAttribute(attributes.get(), i);
    return status;
  }

  HRESULT addAttribute(IXMLDOMNamedNodeMap* attributes, LONG index) {
    Reference<IXMLDOMNode> attribute;
    HRESULT status = attributes->get_item(index, attribute.place());
    if (FAILED(status) || !attribute) return status;
    std::string name;
    WText value;
    status = nameOf(attribute.get(), name);
    if (SUCCEEDED(status)) status = valueOf(attribute.get(), value);
    if (SUCCEEDED(status)) bytes_ += " " + name + "=\"" + escaped(value, true) + "\"";
    return status;
  }

  std::string& bytes_;
  bool open_ = false;
};

}  // namespace

HRESULT xmlText(IXMLDOMNode* node, std::string& bytes) {
  const HRESULT status = Writer(bytes).write(node);
  return FAILED(status) ? status : S_OK;  // "no more children" is a success of its own
}

}  // namespace qv
