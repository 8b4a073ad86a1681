// Documents: a tree of elements, attributes, texts, comments and processing instructions that is built, read
// from XML and saved.
//
//   IXMLDOMDocument* document = nullptr;
//   CoCreateInstance(CLSID_OF_A_DOCUMENT, nullptr, CLSCTX_INPROC_SERVER, IID_OF_A_DOCUMENT, &pointer);
//   IXMLDOMElement* root = nullptr;
//   document->createElement(name, &root);
//   document->appendChild(root, nullptr);
//   root->Release();
//
// qv/settings/xml.h has the steps that come up again and again. Linux has the operations that the toolkit
// uses, over libxml2, and no dispatch interface. Reading there takes no document type declaration, opens no
// file and no connection: what comes from outside can neither fetch nor multiply anything. A node keeps its
// document alive; a document and its nodes are one thread's at a time.
#pragma once

#include "qv/platform/stream.h"
#include "qv/platform/variant.h"

#ifdef _WIN32

#include <ole2.h>
// After it.
#include <msxml.h>

#else

using VARIANT_BOOL = SHORT;
constexpr VARIANT_BOOL VARIANT_TRUE = -1, VARIANT_FALSE = 0;
using CLSID = GUID;
using REFCLSID = const CLSID&;
constexpr DWORD CLSCTX_INPROC_SERVER = 1;
#define REGDB_E_CLASSNOTREG (static_cast<HRESULT>(0x80040154u))

enum DOMNodeType {
  NODE_INVALID = 0,
  NODE_ELEMENT = 1,
  NODE_ATTRIBUTE = 2,
  NODE_TEXT = 3,
  NODE_CDATA_SECTION = 4,
  NODE_ENTITY_REFERENCE = 5,
  NODE_PROCESSING_INSTRUCTION = 7,
  NODE_COMMENT = 8,
  NODE_DOCUMENT = 9,
};

struct IXMLDOMDocument;
struct IXMLDOMNamedNodeMap;

// Whatever stands in a tree. What is given out is a reference that the caller releases, or null with S_FALSE
// where there is nothing; a null place for it is E_INVALIDARG.
struct IXMLDOMNode : IUnknown {
  virtual HRESULT get_nodeName(BSTR* name) = 0;
  // The text of an attribute, text, comment or instruction; else VT_NULL and S_FALSE. The caller clears it.
  virtual HRESULT get_nodeValue(VARIANT* value) = 0;
  virtual HRESULT get_nodeType(DOMNodeType* type) = 0;
  virtual HRESULT get_parentNode(IXMLDOMNode** parent) = 0;
  virtual HRESULT get_firstChild(IXMLDOMNode** child) = 0;
  virtual HRESULT get_nextSibling(IXMLDOMNode** sibling) = 0;
  // Of elements; for other nodes S_FALSE.
  virtual HRESULT get_attributes(IXMLDOMNamedNodeMap** attributes) = 0;
  // Takes a node out of where it stands, also out of another document, and puts it behind the last child.
  // `added` (null allowed) receives it once more. E_FAIL where it can't stand: below itself, below a text, a
  // second root, a text beside the root.
  virtual HRESULT appendChild(IXMLDOMNode* child, IXMLDOMNode** added) = 0;

 protected:
  ~IXMLDOMNode() = default;
};

// The attributes of an element by their place.
struct IXMLDOMNamedNodeMap : IUnknown {
  virtual HRESULT get_length(LONG* count) = 0;
  virtual HRESULT get_item(LONG index, IXMLDOMNode** item) = 0;

 protected:
  ~IXMLDOMNamedNodeMap() = default;
};

struct IXMLDOMElement : IXMLDOMNode {
  // Sets an attribute to a text or an integer; E_FAIL for another value or a name that is none.
  virtual HRESULT setAttribute(BSTR name, VARIANT value) = 0;

 protected:
  ~IXMLDOMElement() = default;
};

// Kinds of nodes that add nothing of their own.
struct IXMLDOMText : IXMLDOMNode {
 protected:
  ~IXMLDOMText() = default;
};
struct IXMLDOMComment : IXMLDOMNode {
 protected:
  ~IXMLDOMComment() = default;
};
struct IXMLDOMProcessingInstruction : IXMLDOMNode {
 protected:
  ~IXMLDOMProcessingInstruction() = default;
};

// A document, itself the node above its root. What is created stands nowhere until it is appended. E_FAIL for
// a name that XML doesn't allow.
struct IXMLDOMDocument : IXMLDOMNode {
  virtual HRESULT get_documentElement(IXMLDOMElement** element) = 0;
  virtual HRESULT createElement(BSTR name, IXMLDOMElement** element) = 0;
  virtual HRESULT createTextNode(BSTR data, IXMLDOMText** text) = 0;
  virtual HRESULT createComment(BSTR data, IXMLDOMComment** comment) = 0;
  virtual HRESULT createProcessingInstruction(BSTR target, BSTR data,
                                              IXMLDOMProcessingInstruction** instruction) = 0;
  // Replaces what is in the document by what a text says; nodes given out before stay good. White space
  // between elements goes. S_FALSE, `successful` (null allowed) false and an empty document for what isn't
  // well formed, has a document type declaration or is nested deeper than 256.
  virtual HRESULT loadXML(BSTR xml, VARIANT_BOOL* successful) = 0;
  // Writes the document to the file of this path (VT_BSTR) as UTF-8. E_INVALIDARG for another destination;
  // the system's reason as 0x8007xxxx.
  virtual HRESULT save(VARIANT destination) = 0;
  // On Linux everything is as if all four were off, whatever is set.
  virtual HRESULT put_async(VARIANT_BOOL async) = 0;
  virtual HRESULT put_validateOnParse(VARIANT_BOOL validate) = 0;
  virtual HRESULT put_resolveExternals(VARIANT_BOOL resolve) = 0;
  virtual HRESULT put_preserveWhiteSpace(VARIANT_BOOL preserve) = 0;

 protected:
  ~IXMLDOMDocument() = default;
};

// Creates an object of a class and gives the interface asked for; `outer` is null. Linux knows the class of
// documents, {2933BF90-7B36-11D2-B20E-00C04F983E60}, and gives REGDB_E_CLASSNOTREG for any other;
// E_NOINTERFACE, E_OUTOFMEMORY, E_POINTER.
QV_API HRESULT CoCreateInstance(REFCLSID objectClass, IUnknown* outer, DWORD context, REFIID id,
                                void** object);

#endif
