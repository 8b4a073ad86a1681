#include "qv/settings/xml.h"

#include <string_view>

#include "qv/frame/status.h"
#include "qv/platform/text.h"
#include "qv/settings/detail/com_reference.h"

namespace {

using namespace qv;

using WTextView = std::basic_string_view<WCHAR>;

constexpr GUID kDocumentClass = {
    0x2933bf90, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
constexpr GUID kDocumentId = {0x2933bf81, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
constexpr GUID kNodeId = {0x2933bf80, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};

template <typename Interface>
bool start(Interface** place) {
  if (place != nullptr) *place = nullptr;
  return place != nullptr;
}

HRESULT createDocument(Reference<IXMLDOMDocument>& document) {
  void* object = nullptr;
  const HRESULT status =
      CoCreateInstance(kDocumentClass, nullptr, CLSCTX_INPROC_SERVER, kDocumentId, &object);
  *document.place() = static_cast<IXMLDOMDocument*>(object);
  return status;
}

HRESULT asNode(IUnknown* object, Reference<IXMLDOMNode>& node) {
  void* found = nullptr;
  const HRESULT status = object->QueryInterface(kNodeId, &found);
  *node.place() = static_cast<IXMLDOMNode*>(found);
  return status;
}

// What one of the document's makers makes of a text, added to the parent.
template <typename Interface>
HRESULT createAndAdd(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* text,
                     HRESULT (STDMETHODCALLTYPE IXMLDOMDocument::*create)(BSTR, Interface**),
                     IXMLDOMNode** node) {
  if (!start(node) || document == nullptr || parent == nullptr || text == nullptr) return kInvalidArgument;
  const OwnedBstr data(text);
  if (data.get() == nullptr) return kOutOfMemory;
  Reference<Interface> made;
  const HRESULT status = (document->*create)(data.get(), made.place());
  return SUCCEEDED(status) ? XMLAppendChild(parent, made.get(), node) : status;
}

// Everything before the root is white space, comments, instructions or a declaration. Whoever reads a
// fragment is to meet none, so the text is looked at here, before any parser does.
bool hasDocumentType(WTextView xml) {
  struct Skipped {
    WTextView begin, end;
  };
  constexpr Skipped kSkipped[] = {{TEXT("<?"), TEXT("?>")}, {TEXT("<!--"), TEXT("-->")}};
  for (;;) {
    const size_t first = xml.find('<');
    if (first == xml.npos) return false;
    xml.remove_prefix(first);
    const Skipped* found = nullptr;
    for (const Skipped& row : kSkipped) {
      if (xml.starts_with(row.begin)) found = &row;
    }
    if (found == nullptr) return xml.starts_with(TEXT("<!"));
    const size_t end = xml.find(found->end, found->begin.size());
    if (end == xml.npos) return false;
    xml.remove_prefix(end + found->end.size());
  }
}

HRESULT load(const WCHAR* xml, Reference<IXMLDOMDocument>& document) {
  if (hasDocumentType(xml)) return kGeneralFailure;
  if (const HRESULT status = createDocument(document); FAILED(status)) return status;
  document->put_async(VARIANT_FALSE);
  document->put_validateOnParse(VARIANT_FALSE);
  document->put_resolveExternals(VARIANT_FALSE);
  const OwnedBstr copy(xml);
  if (copy.get() == nullptr) return kOutOfMemory;
  VARIANT_BOOL successful = VARIANT_FALSE;
  const HRESULT status = document->loadXML(copy.get(), &successful);
  if (FAILED(status)) return status;
  return successful != VARIANT_FALSE ? kOk : kGeneralFailure;
}

}  // namespace

HRESULT XMLCreateEmptyDocument(IXMLDOMDocument** document) {
  if (!start(document)) return kInvalidArgument;
  Reference<IXMLDOMDocument> made;
  if (const HRESULT status = createDocument(made); FAILED(status)) return status;
  const OwnedBstr target(TEXT("xml"));
  const OwnedBstr data(TEXT("version=\"1.0\" encoding=\"UTF-8\""));
  if (target.get() == nullptr || data.get() == nullptr) return kOutOfMemory;
  Reference<IXMLDOMProcessingInstruction> declaration;
  HRESULT status = made->createProcessingInstruction(target.get(), data.get(), declaration.place());
  Reference<IXMLDOMNode> added;
  if (SUCCEEDED(status)) status = XMLAppendChild(made.get(), declaration.get(), added.place());
  if (SUCCEEDED(status)) *document = made.take();
  return status;
}

HRESULT XMLAppendChild(IUnknown* parent, IUnknown* child, IXMLDOMNode** node) {
  if (!start(node) || parent == nullptr || child == nullptr) return kInvalidArgument;
  Reference<IXMLDOMNode> above, below;
  HRESULT status = asNode(parent, above);
  if (SUCCEEDED(status)) status = asNode(child, below);
  return SUCCEEDED(status) ? above->appendChild(below.get(), node) : status;
}

HRESULT XMLCreateAndAddElement(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* name,
                               IXMLDOMNode** node) {
  return createAndAdd(document, parent, name, &IXMLDOMDocument::createElement, node);
}

HRESULT XMLCreateAndAddElementWithAttribute(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* name,
                                            const WCHAR* attribute, VARIANT value, IXMLDOMNode** node) {
  if (!start(node) || document == nullptr || parent == nullptr || name == nullptr || attribute == nullptr) {
    return kInvalidArgument;
  }
  const OwnedBstr text(name), key(attribute);
  if (text.get() == nullptr || key.get() == nullptr) return kOutOfMemory;
  Reference<IXMLDOMElement> element;
  HRESULT status = document->createElement(text.get(), element.place());
  if (SUCCEEDED(status)) status = element->setAttribute(key.get(), value);
  return SUCCEEDED(status) ? XMLAppendChild(parent, element.get(), node) : status;
}

HRESULT XMLCreateAndAddTextElement(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* text,
                                   IXMLDOMNode** node) {
  return createAndAdd(document, parent, text, &IXMLDOMDocument::createTextNode, node);
}

HRESULT XMLCreateAndAddComment(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* text,
                               IXMLDOMNode** node) {
  if (!start(node) || text == nullptr) return kInvalidArgument;
  const WTextView view = text;
  if (view.find(TEXT("--")) != view.npos || view.ends_with('-')) return kInvalidArgument;
  return createAndAdd(document, parent, text, &IXMLDOMDocument::createComment, node);
}

HRESULT XMLGetDocumentRootNode(IXMLDOMDocument* document, IXMLDOMNode** node) {
  if (!start(node) || document == nullptr) return kInvalidArgument;
  Reference<IXMLDOMElement> root;
  HRESULT status = document->get_documentElement(root.place());
  if (FAILED(status)) return status;
  Reference<IXMLDOMNode> found;
  status = asNode(root ? static_cast<IUnknown*>(root.get()) : document, found);
  if (SUCCEEDED(status)) *node = found.take();
  return status;
}

HRESULT XMLCreateAndAddNodeFromXMLFragment(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* xml,
                                           IXMLDOMNode** node) {
  if (!start(node) || document == nullptr || parent == nullptr || xml == nullptr) return kInvalidArgument;
  Reference<IXMLDOMDocument> fragment;
  HRESULT status = load(xml, fragment);
  Reference<IXMLDOMNode> root;
  if (SUCCEEDED(status)) status = XMLGetDocumentRootNode(fragment.get(), root.place());
  return SUCCEEDED(status) ? XMLAppendChild(parent, root.get(), node) : status;
}
