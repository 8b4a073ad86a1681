// A document as bytes, the same ones on every system.
//
//   std::string bytes;
//   HRESULT status = qv::xmlText(document, bytes);
//
// The platforms' own savers differ in encoding, line ends and indentation (one of them turns a stream into
// indented UTF-16 whatever the declaration says), and a report is compared and parsed elsewhere. So the tree
// is written here, from what each node says of itself: UTF-8, nothing between the nodes, an element without
// content as <name/>. Characters that XML can't hold become U+FFFD.
#pragma once

#include <string>

#include "qv/platform/dom.h"

namespace qv {

// Appends the node with all below it. The document's status on failure, with `bytes` incomplete.
HRESULT xmlText(IXMLDOMNode* node, std::string& bytes);

}  // namespace qv
