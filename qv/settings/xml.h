// Steps that building an XML document takes again and again, on the platform's own documents.
//
//   IXMLDOMDocument* document = nullptr;
//   IXMLDOMNode *root = nullptr, *name = nullptr, *text = nullptr;
//   XMLCreateEmptyDocument(&document);
//   XMLCreateAndAddElement(document, document, TEXT("mixer"), &root);
//   XMLCreateAndAddElement(document, root, TEXT("name"), &name);
//   XMLCreateAndAddTextElement(document, name, TEXT("Left & right"), &text);
//   // <?xml version="1.0" encoding="UTF-8"?><mixer><name>Left &amp; right</name></mixer>
//
// Each step clears its last argument first and puts there a reference to what it made, which the caller
// releases; on failure it stays null. A null argument gives 0x80070057; all else that fails gives the
// document's own status. COM is initialised on the calling thread, and a document is one thread's at a time.
#pragma once

#include "qv/api.h"
#include "qv/platform/dom.h"

// A new document that holds the declaration (version 1.0, UTF-8) and no root yet.
QV_API HRESULT XMLCreateEmptyDocument(IXMLDOMDocument** document);

// Puts a node behind the last child of another; both may be given by any of their interfaces. A node that
// stands elsewhere, in another document too, leaves its place.
QV_API HRESULT XMLAppendChild(IUnknown* parent, IUnknown* child, IXMLDOMNode** node);

// Add a new element to a parent, the document itself for the root.
//   name   as XML allows it
//   value  of the attribute: a text (VT_BSTR) or an integer (VT_I4); stays the caller's
QV_API HRESULT XMLCreateAndAddElement(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* name,
                                      IXMLDOMNode** node);
QV_API HRESULT XMLCreateAndAddElementWithAttribute(IXMLDOMDocument* document, IUnknown* parent,
                                                   const WCHAR* name, const WCHAR* attribute, VARIANT value,
                                                   IXMLDOMNode** node);

// Adds a text to an element: any text, what has a meaning in XML is escaped when the document is written.
QV_API HRESULT XMLCreateAndAddTextElement(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* text,
                                          IXMLDOMNode** node);

// Adds a comment; 0x80070057 for a text that a comment can't hold: with "--" in it or "-" at its end.
QV_API HRESULT XMLCreateAndAddComment(IXMLDOMDocument* document, IUnknown* parent, const WCHAR* text,
                                      IXMLDOMNode** node);

// The root element; a document without one answers with itself.
QV_API HRESULT XMLGetDocumentRootNode(IXMLDOMDocument* document, IXMLDOMNode** node);

// Reads XML text and adds its root element to a parent. The text may come from anywhere: one with a document
// type declaration, which is where entities are made, is refused, and nothing is fetched. 0x80004005 for
// that, and for what isn't well formed.
QV_API HRESULT XMLCreateAndAddNodeFromXMLFragment(IXMLDOMDocument* document, IUnknown* parent,
                                                  const WCHAR* xml, IXMLDOMNode** node);
