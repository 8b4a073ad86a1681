// The document interfaces over libxml2's tree.
//
// Each libxml2 node has at most one object, which its _private field points to; the object keeps the
// document's object alive, and that owns the tree. A node that stands nowhere hangs below the document's
// shelf, so that it goes with the document. Names are taken as they are, prefixes and all: namespaces are
// plain attributes here, which is how the interface shows them.
#include "qv/platform/dom.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <atomic>
#include <charconv>
#include <new>
#include <string>
#include <string_view>

#include "qv/platform/files.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

constexpr CLSID kDocumentClass = {
    0x2933bf90, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
constexpr IID kDocumentId = {0x2933bf81, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
constexpr IID kNodeId = {0x2933bf80, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};

const xmlChar* xml(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}
std::string_view view(const xmlChar* text) {
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

// Text that libxml2 allocated.
class XmlText {
 public:
  explicit XmlText(xmlChar* text) : text_(text) {}
  ~XmlText() { xmlFree(text_); }
  XmlText(const XmlText&) = delete;
  XmlText& operator=(const XmlText&) = delete;
  std::string_view get() const { return view(text_); }

 private:
  xmlChar* text_;
};

std::string utf8(BSTR text) {
  return utf8From({text != nullptr ? text : u"", SysStringLen(text)});
}

HRESULT giveString(std::string_view text, BSTR* string) {
  const std::u16string wide = utf16From(text);
  *string = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  return *string != nullptr ? S_OK : E_OUTOFMEMORY;
}

class Document;

// What all nodes share beside their interface.
class NodeBase {
 public:
  NodeBase(xmlNode* node, Document* owner) : node_(node), owner_(owner) { node->_private = this; }
  NodeBase(const NodeBase&) = delete;
  NodeBase& operator=(const NodeBase&) = delete;
  virtual ~NodeBase() {
    if (node_ != nullptr) node_->_private = nullptr;
  }
  virtual IXMLDOMNode* asNode() = 0;

  xmlNode* node() const { return node_; }
  Document* owner() const { return owner_; }
  void moveTo(xmlNode* node, Document* owner);

 protected:
  bool isLoose() const;
  HRESULT give(xmlNode* node, IXMLDOMNode** place) const;
  HRESULT name(BSTR* name) const;
  HRESULT value(VARIANT* value) const;
  HRESULT append(IXMLDOMNode* child, IXMLDOMNode** added);

  xmlNode* node_;
  Document* owner_;
  std::atomic<ULONG> references_{1};
};

template <typename Interface>
class NodeOf : public Interface, public NodeBase {
 public:
  using NodeBase::NodeBase;
  IXMLDOMNode* asNode() override { return this; }

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    const bool known = id == IID_IUnknown || id == kNodeId || (id == kDocumentId && isDocument());
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++references_; }
  ULONG Release() override;

  HRESULT get_nodeName(BSTR* text) override { return text == nullptr ? E_INVALIDARG : name(text); }
  HRESULT get_nodeValue(VARIANT* content) override {
    return content == nullptr ? E_INVALIDARG : value(content);
  }
  HRESULT get_nodeType(DOMNodeType* type) override {
    if (type == nullptr) return E_INVALIDARG;
    *type = static_cast<DOMNodeType>(node_->type);  // the DOM's own numbers
    return S_OK;
  }
  HRESULT get_parentNode(IXMLDOMNode** parent) override {
    return give(isLoose() || node_->type == XML_ATTRIBUTE_NODE ? nullptr : node_->parent, parent);
  }
  HRESULT get_firstChild(IXMLDOMNode** child) override { return give(node_->children, child); }
  HRESULT get_nextSibling(IXMLDOMNode** sibling) override {
    return give(isLoose() || node_->type == XML_ATTRIBUTE_NODE ? nullptr : node_->next, sibling);
  }
  HRESULT get_attributes(IXMLDOMNamedNodeMap** attributes) override {
    if (attributes == nullptr) return E_INVALIDARG;
    *attributes = nullptr;
    return S_FALSE;
  }
  HRESULT appendChild(IXMLDOMNode* child, IXMLDOMNode** added) override { return append(child, added); }

 private:
  bool isDocument() const { return node_->type == XML_DOCUMENT_NODE; }
};

class Element final : public NodeOf<IXMLDOMElement> {
 public:
  using NodeOf::NodeOf;
  HRESULT get_attributes(IXMLDOMNamedNodeMap** attributes) override;
  HRESULT setAttribute(BSTR name, VARIANT value) override;
};

class Document final : public NodeOf<IXMLDOMDocument> {
 public:
  // Null when memory ran out.
  static Document* create() {
    xmlDoc* doc = xmlNewDoc(xml("1.0"));
    xmlNode* shelf = doc != nullptr ? xmlNewDocFragment(doc) : nullptr;
    auto* document = shelf != nullptr ? new (std::nothrow) Document(doc, shelf) : nullptr;
    if (document != nullptr) return document;
    if (shelf != nullptr) xmlFreeNode(shelf);
    if (doc != nullptr) xmlFreeDoc(doc);
    return nullptr;
  }
  ~Document() override {
    xmlFreeNode(shelf_);
    xmlFreeDoc(doc());
    node_ = nullptr;
  }

  xmlDoc* doc() const { return reinterpret_cast<xmlDoc*>(node_); }
  xmlNode* shelf() const { return shelf_; }

  HRESULT get_documentElement(IXMLDOMElement** element) override;
  HRESULT createElement(BSTR name, IXMLDOMElement** element) override;
  HRESULT createTextNode(BSTR data, IXMLDOMText** text) override;
  HRESULT createComment(BSTR data, IXMLDOMComment** comment) override;
  HRESULT createProcessingInstruction(BSTR target, BSTR data,
                                      IXMLDOMProcessingInstruction** instruction) override;
  HRESULT loadXML(BSTR text, VARIANT_BOOL* successful) override;
  HRESULT save(VARIANT destination) override;
  HRESULT put_async(VARIANT_BOOL) override { return S_OK; }
  HRESULT put_validateOnParse(VARIANT_BOOL) override { return S_OK; }
  HRESULT put_resolveExternals(VARIANT_BOOL) override { return S_OK; }
  HRESULT put_preserveWhiteSpace(VARIANT_BOOL) override { return S_OK; }

 private:
  Document(xmlDoc* doc, xmlNode* shelf) : NodeOf(reinterpret_cast<xmlNode*>(doc), nullptr), shelf_(shelf) {
    owner_ = this;
  }
  template <typename Interface>
  HRESULT giveNew(xmlNode* node, Interface** place);

  xmlNode* shelf_;
};

template <typename Interface>
ULONG NodeOf<Interface>::Release() {
  const ULONG left = --references_;
  if (left != 0) return left;
  Document* document = isDocument() ? nullptr : owner_;
  delete this;
  if (document != nullptr) document->Release();
  return 0;
}

// ---- the tree -------------------------------------------------------------------------------------------

// Not xmlAddChild: that melts neighbouring texts into one and frees the node that it was given.
void link(xmlNode* parent, xmlNode* child) {
  xmlUnlinkNode(child);
  child->parent = parent;
  child->prev = parent->last;
  (parent->last != nullptr ? parent->last->next : parent->children) = child;
  parent->last = child;
}

// The node behind in document order, without recursion: trees may be deep.
xmlNode* nextIn(xmlNode* root, xmlNode* node) {
  if (node->children != nullptr) return node->children;
  while (node != root && node->next == nullptr) node = node->parent;
  return node != root ? node->next : nullptr;
}

void moveObject(xmlNode* from, xmlNode* to, Document* owner) {
  if (from->_private != nullptr) static_cast<NodeBase*>(from->_private)->moveTo(to, owner);
}

// Hands the objects of a tree to the nodes of its copy, which has the same shape.
void moveObjects(xmlNode* root, xmlNode* copy, Document* owner) {
  xmlNode* from = root;
  xmlNode* to = copy;
  while (from != nullptr) {
    moveObject(from, to, owner);
    if (from->type == XML_ELEMENT_NODE) {
      xmlAttr* target = to->properties;
      for (xmlAttr* each = from->properties; each != nullptr; each = each->next, target = target->next) {
        moveObject(reinterpret_cast<xmlNode*>(each), reinterpret_cast<xmlNode*>(target), owner);
        if (each->children != nullptr) moveObject(each->children, target->children, owner);
      }
    }
    from = nextIn(root, from);
    to = from != nullptr ? nextIn(copy, to) : nullptr;
  }
}

// A tree that comes from another document becomes this one's: copied, its objects with it.
xmlNode* adopt(xmlNode* node, Document* owner) {
  auto* before = static_cast<NodeBase*>(node->_private)->owner();
  if (before == owner) return node;
  xmlNode* copy = xmlDocCopyNode(node, owner->doc(), 1);
  if (copy == nullptr) return nullptr;
  before->AddRef();
  moveObjects(node, copy, owner);
  xmlUnlinkNode(node);
  xmlFreeNode(node);
  before->Release();
  return copy;
}

NodeBase* newObject(xmlNode* node, Document* owner) {
  switch (node->type) {
    case XML_ELEMENT_NODE:
      return new (std::nothrow) Element(node, owner);
    case XML_COMMENT_NODE:
      return new (std::nothrow) NodeOf<IXMLDOMComment>(node, owner);
    case XML_PI_NODE:
      return new (std::nothrow) NodeOf<IXMLDOMProcessingInstruction>(node, owner);
    case XML_TEXT_NODE:
      return new (std::nothrow) NodeOf<IXMLDOMText>(node, owner);
    default:
      return new (std::nothrow) NodeOf<IXMLDOMNode>(node, owner);
  }
}

// The node's object with one more reference; null when memory ran out.
IXMLDOMNode* objectOf(xmlNode* node, Document* owner) {
  if (node->_private != nullptr) {
    IXMLDOMNode* object = static_cast<NodeBase*>(node->_private)->asNode();
    object->AddRef();
    return object;
  }
  NodeBase* object = newObject(node, owner);
  if (object == nullptr) return nullptr;
  owner->AddRef();
  return object->asNode();
}

void NodeBase::moveTo(xmlNode* node, Document* owner) {
  node_->_private = nullptr;
  node->_private = this;
  node_ = node;
  owner->AddRef();
  owner_->Release();
  owner_ = owner;
}

bool NodeBase::isLoose() const {
  return node_->parent == owner_->shelf();
}

HRESULT NodeBase::give(xmlNode* node, IXMLDOMNode** place) const {
  if (place == nullptr) return E_INVALIDARG;
  *place = node != nullptr ? objectOf(node, owner_) : nullptr;
  if (node == nullptr) return S_FALSE;
  return *place != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT NodeBase::name(BSTR* text) const {
  struct Row {
    xmlElementType type;
    const char* name;
  };
  constexpr Row kFixed[] = {
      {XML_TEXT_NODE, "#text"}, {XML_COMMENT_NODE, "#comment"}, {XML_DOCUMENT_NODE, "#document"}};
  for (const Row& row : kFixed) {
    if (row.type == node_->type) return giveString(row.name, text);
  }
  return giveString(view(node_->name), text);
}

HRESULT NodeBase::value(VARIANT* content) const {
  VariantInit(content);
  content->vt = VT_NULL;
  if (node_->type == XML_ELEMENT_NODE || node_->type == XML_DOCUMENT_NODE) return S_FALSE;
  const XmlText text(xmlNodeGetContent(node_));
  const HRESULT status = giveString(text.get(), &content->bstrVal);
  if (SUCCEEDED(status)) content->vt = VT_BSTR;
  return status;
}

bool standsBelow(const xmlNode* node, const xmlNode* above) {
  while (node != nullptr && node != above) node = node->parent;
  return node == above;
}

bool mayStand(xmlNode* parent, xmlNode* child) {
  if (child->type == XML_ATTRIBUTE_NODE || child->type == XML_DOCUMENT_NODE) return false;
  if (parent->type == XML_ELEMENT_NODE) return !standsBelow(parent, child);
  if (parent->type != XML_DOCUMENT_NODE || child->type == XML_TEXT_NODE) return false;
  const xmlNode* root = xmlDocGetRootElement(reinterpret_cast<xmlDoc*>(parent));
  return child->type != XML_ELEMENT_NODE || root == nullptr || root == child;
}

HRESULT NodeBase::append(IXMLDOMNode* child, IXMLDOMNode** added) {
  if (added != nullptr) *added = nullptr;
  const auto* base = dynamic_cast<NodeBase*>(child);
  if (base == nullptr) return E_INVALIDARG;
  if (!mayStand(node_, base->node())) return E_FAIL;
  xmlNode* node = adopt(base->node(), owner_);
  if (node == nullptr) return E_OUTOFMEMORY;
  link(node_, node);
  if (added != nullptr) {
    child->AddRef();
    *added = child;
  }
  return S_OK;
}

// ---- elements -------------------------------------------------------------------------------------------

class Attributes final : public IXMLDOMNamedNodeMap {
 public:
  explicit Attributes(Element* element) : element_(element) { element->AddRef(); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = id == IID_IUnknown ? this : nullptr;
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++references_; }
  ULONG Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT get_length(LONG* count) override {
    if (count == nullptr) return E_INVALIDARG;
    *count = 0;
    for (const xmlAttr* each = first(); each != nullptr; each = each->next) ++*count;
    return S_OK;
  }
  HRESULT get_item(LONG index, IXMLDOMNode** item) override {
    if (item == nullptr) return E_INVALIDARG;
    *item = nullptr;
    xmlAttr* attribute = index >= 0 ? first() : nullptr;
    for (; attribute != nullptr && index > 0; --index) attribute = attribute->next;
    if (attribute == nullptr) return S_FALSE;
    *item = objectOf(reinterpret_cast<xmlNode*>(attribute), element_->owner());
    return *item != nullptr ? S_OK : E_OUTOFMEMORY;
  }

 private:
  ~Attributes() { element_->Release(); }
  xmlAttr* first() const { return element_->node()->properties; }

  Element* element_;
  std::atomic<ULONG> references_{1};
};

HRESULT Element::get_attributes(IXMLDOMNamedNodeMap** attributes) {
  if (attributes == nullptr) return E_INVALIDARG;
  *attributes = new (std::nothrow) Attributes(this);
  return *attributes != nullptr ? S_OK : E_OUTOFMEMORY;
}

bool isName(const std::string& name) {
  return xmlValidateName(xml(name), 0) == 0;
}

HRESULT Element::setAttribute(BSTR name, VARIANT value) {
  const std::string key = utf8(name);
  if (!isName(key)) return E_FAIL;
  std::string text;
  if (value.vt == VT_BSTR) {
    text = utf8(value.bstrVal);
  } else if (value.vt == VT_I4) {
    char digits[16];
    text.assign(digits, std::to_chars(digits, digits + sizeof digits, value.lVal).ptr);
  } else {
    return E_FAIL;
  }
  return xmlSetProp(node_, xml(key), xml(text)) != nullptr ? S_OK : E_OUTOFMEMORY;
}

// ---- documents ------------------------------------------------------------------------------------------

template <typename Interface>
HRESULT Document::giveNew(xmlNode* node, Interface** place) {
  if (node == nullptr) return E_OUTOFMEMORY;
  link(shelf_, node);
  IXMLDOMNode* object = objectOf(node, this);
  *place = dynamic_cast<Interface*>(object);
  return object != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT Document::get_documentElement(IXMLDOMElement** element) {
  if (element == nullptr) return E_INVALIDARG;
  xmlNode* root = xmlDocGetRootElement(doc());
  *element = root != nullptr ? dynamic_cast<IXMLDOMElement*>(objectOf(root, this)) : nullptr;
  if (root == nullptr) return S_FALSE;
  return *element != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT Document::createElement(BSTR name, IXMLDOMElement** element) {
  if (element == nullptr) return E_INVALIDARG;
  *element = nullptr;
  const std::string text = utf8(name);
  return isName(text) ? giveNew(xmlNewDocNode(doc(), nullptr, xml(text), nullptr), element) : E_FAIL;
}

HRESULT Document::createTextNode(BSTR data, IXMLDOMText** text) {
  if (text == nullptr) return E_INVALIDARG;
  *text = nullptr;
  return giveNew(xmlNewDocText(doc(), xml(utf8(data))), text);
}

HRESULT Document::createComment(BSTR data, IXMLDOMComment** comment) {
  if (comment == nullptr) return E_INVALIDARG;
  *comment = nullptr;
  return giveNew(xmlNewDocComment(doc(), xml(utf8(data))), comment);
}

HRESULT Document::createProcessingInstruction(BSTR target, BSTR data,
                                              IXMLDOMProcessingInstruction** instruction) {
  if (instruction == nullptr) return E_INVALIDARG;
  *instruction = nullptr;
  const std::string name = utf8(target);
  return isName(name) ? giveNew(xmlNewDocPI(doc(), xml(name), xml(utf8(data))), instruction) : E_FAIL;
}

// ---- reading --------------------------------------------------------------------------------------------

// Declarations are where entities come from, the ones that name files and the ones that multiply.
void refuseDeclaration(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* parser = static_cast<xmlParserCtxt*>(context);
  parser->wellFormed = 0;
  xmlStopParser(parser);
}

// Null for what isn't well formed.
xmlDoc* parse(const std::string& text) {
  xmlParserCtxt* parser = text.size() <= INT32_MAX ? xmlNewParserCtxt() : nullptr;
  if (parser == nullptr) return nullptr;
  parser->sax->internalSubset = refuseDeclaration;
  parser->sax->externalSubset = refuseDeclaration;
  // The text was UTF-16; what it says of its encoding no longer holds.
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NODICT | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                           XML_PARSE_IGNORE_ENC | XML_PARSE_NOCDATA;
  xmlDoc* read =
      xmlCtxtReadMemory(parser, text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", kOptions);
  const bool good = read != nullptr && parser->wellFormed != 0 && xmlDocGetRootElement(read) != nullptr;
  xmlFreeParserCtxt(parser);
  if (good) return read;
  if (read != nullptr) xmlFreeDoc(read);
  return nullptr;
}

std::string qualified(const xmlNs* space, const xmlChar* name) {
  std::string text;
  if (space != nullptr && space->prefix != nullptr) text.append(view(space->prefix)).append(":");
  return text.append(view(name));
}

// An element without its children, namespaces as plain attributes.
xmlNode* plainElement(xmlDoc* doc, const xmlNode* from) {
  xmlNode* element = xmlNewDocNode(doc, nullptr, xml(qualified(from->ns, from->name)), nullptr);
  if (element == nullptr) return nullptr;
  for (const xmlNs* space = from->nsDef; space != nullptr; space = space->next) {
    const std::string name = space->prefix != nullptr ? "xmlns:" + std::string(view(space->prefix)) : "xmlns";
    xmlNewProp(element, xml(name), space->href);
  }
  for (const xmlAttr* each = from->properties; each != nullptr; each = each->next) {
    const XmlText value(xmlNodeListGetString(from->doc, each->children, 1));
    xmlNewProp(element, xml(qualified(each->ns, each->name)), xml(std::string(value.get())));
  }
  return element;
}

// Null for white space between elements too.
xmlNode* plainNode(xmlDoc* doc, xmlNode* from) {
  if (from->type == XML_ELEMENT_NODE) return plainElement(doc, from);
  return xmlIsBlankNode(from) ? nullptr : xmlDocCopyNode(from, doc, 1);
}

// The parser has bounded the depth.
void addPlain(xmlDoc* doc, xmlNode* parent, const xmlNode* from) {
  for (xmlNode* each = from->children; each != nullptr; each = each->next) {
    xmlNode* copy = plainNode(doc, each);
    if (copy == nullptr) continue;
    link(parent, copy);
    if (each->type == XML_ELEMENT_NODE) addPlain(doc, copy, each);
  }
}

HRESULT Document::loadXML(BSTR text, VARIANT_BOOL* successful) {
  while (node_->children != nullptr) link(shelf_, node_->children);
  xmlDoc* read = parse(utf8(text));
  if (successful != nullptr) *successful = read != nullptr ? VARIANT_TRUE : VARIANT_FALSE;
  if (read == nullptr) return S_FALSE;
  addPlain(doc(), node_, reinterpret_cast<xmlNode*>(read));
  xmlFreeDoc(read);
  return S_OK;
}

// ---- saving ---------------------------------------------------------------------------------------------

HRESULT writeFile(LPCWSTR path, const char* data, DWORD size) {
  const HANDLE file =
      CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
  DWORD written = 0;
  const BOOL done = WriteFile(file, data, size, &written, nullptr);
  const HRESULT status = done ? S_OK : HRESULT_FROM_WIN32(GetLastError());
  CloseHandle(file);
  return status;
}

HRESULT Document::save(VARIANT destination) {
  if (destination.vt != VT_BSTR || destination.bstrVal == nullptr) return E_INVALIDARG;
  xmlBuffer* buffer = xmlBufferCreate();
  if (buffer == nullptr) return E_OUTOFMEMORY;
  // Not the whole document at once: that would bring a declaration of libxml2's own.
  bool complete = true;
  for (xmlNode* each = node_->children; each != nullptr; each = each->next) {
    complete =
        complete && xmlNodeDump(buffer, doc(), each, 0, 0) >= 0 && xmlBufferCat(buffer, xml("\n")) == 0;
  }
  const HRESULT status =
      complete ? writeFile(destination.bstrVal, reinterpret_cast<const char*>(xmlBufferContent(buffer)),
                           static_cast<DWORD>(xmlBufferLength(buffer)))
               : E_OUTOFMEMORY;
  xmlBufferFree(buffer);
  return status;
}

}  // namespace
}  // namespace qv::platform

HRESULT CoCreateInstance(REFCLSID objectClass, IUnknown* outer, DWORD, REFIID id, void** object) {
  using namespace qv::platform;
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!(objectClass == kDocumentClass)) return REGDB_E_CLASSNOTREG;
  if (outer != nullptr) return E_INVALIDARG;
  Document* document = Document::create();
  if (document == nullptr) return E_OUTOFMEMORY;
  const HRESULT status = document->QueryInterface(id, object);
  document->Release();
  return status;
}
