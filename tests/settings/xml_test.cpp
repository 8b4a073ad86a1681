#include "qv/settings/xml.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/frame/status.h"
#include "qv/platform/com.h"
#include "qv/settings/detail/com_reference.h"
#include "qv/settings/detail/xml_text.h"

namespace {

using namespace qv;

using WText = std::basic_string<WCHAR>;

class Xml : public testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    ASSERT_EQ(0, XMLCreateEmptyDocument(document.place()));
    ASSERT_EQ(0, XMLCreateAndAddElement(document.get(), document.get(), TEXT("root"), root.place()));
  }
  void TearDown() override {
    node.reset();
    root.reset();
    document.reset();
    CoUninitialize();
  }
  // What stands behind the declaration.
  std::string bytes() const {
    std::string all;
    EXPECT_EQ(0, xmlText(document.get(), all));
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    EXPECT_EQ(declaration, all.substr(0, declaration.size()));
    return all.substr(declaration.size());
  }

  Reference<IXMLDOMDocument> document;
  Reference<IXMLDOMNode> root, node;
};

TEST_F(Xml, BuildsTheSameBytesEverywhere) {
  EXPECT_EQ("<root/>", bytes());
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(TEXT("a\"<&>\t\n'\x20ac"));
  ASSERT_EQ(0, XMLCreateAndAddElementWithAttribute(document.get(), root.get(), TEXT("one"), TEXT("name"),
                                                   value, node.place()));
  VariantClear(&value);
  Reference<IXMLDOMNode> text;
  ASSERT_EQ(0,
            XMLCreateAndAddTextElement(document.get(), node.get(), TEXT("x < y & z > \"\n"), text.place()));
  ASSERT_EQ(0, XMLCreateAndAddComment(document.get(), root.get(), TEXT(" note "), text.place()));
  ASSERT_EQ(0, XMLCreateAndAddElement(document.get(), root.get(), TEXT("empty"), node.place()));
  ASSERT_EQ(0, XMLCreateAndAddTextElement(document.get(), node.get(), TEXT(""), text.place()));
  EXPECT_EQ(
      "<root><one name=\"a&quot;&lt;&amp;&gt;&#9;&#10;'\xe2\x82\xac\">x &lt; y &amp; z &gt; \"\n</one><!-- "
      "note --><empty/></root>",
      bytes());
}

TEST_F(Xml, CharactersThatXmlCannotHoldAreReplaced) {
  const WCHAR text[] = {'a', 1, 0xb, 'b', 0xfffe, 0xd83c, 0xdfac, 'c', 0};
  ASSERT_EQ(0, XMLCreateAndAddTextElement(document.get(), root.get(), text, node.place()));
  EXPECT_EQ(
      "<root>a\xef\xbf\xbd\xef\xbf\xbd"
      "b\xef\xbf\xbd\xf0\x9f\x8e\xac"
      "c</root>",
      bytes());
}

TEST_F(Xml, RootIsTheElementOrTheDocumentItself) {
  ASSERT_EQ(0, XMLGetDocumentRootNode(document.get(), node.place()));
  BSTR name = nullptr;
  ASSERT_EQ(0, node->get_nodeName(&name));
  EXPECT_EQ(TEXT("root"), WText(name));
  SysFreeString(name);
  Reference<IXMLDOMDocument> empty;
  ASSERT_EQ(0, XMLCreateEmptyDocument(empty.place()));
  ASSERT_EQ(0, XMLGetDocumentRootNode(empty.get(), node.place()));
  DOMNodeType type = NODE_INVALID;
  EXPECT_EQ(0, node->get_nodeType(&type));
  EXPECT_EQ(NODE_DOCUMENT, type);
}

TEST_F(Xml, FragmentsAreAddedOrRefused) {
  struct Case {
    const WCHAR* xml;
    const char* added;  // null for what is refused
  };
  const Case cases[] = {
      {TEXT("<a b='1'><c/>text</a>"), "<a b=\"1\"><c/>text</a>"},
      {TEXT("<?xml version=\"1.0\"?> <!-- <!DOCTYPE x> --><a/>"), "<a/>"},
      {TEXT("<a><![CDATA[<!DOCTYPE x>]]></a>"), "<a>&lt;!DOCTYPE x&gt;</a>"},
      {TEXT("<a>1"), nullptr},
      {TEXT("no markup"), nullptr},
      {TEXT(""), nullptr},
      {TEXT("<!DOCTYPE a><a/>"), nullptr},
      {TEXT("<?xml version=\"1.0\"?><!-- - --><!DOCTYPE a [<!ENTITY b SYSTEM "
            "\"file:///etc/passwd\">]><a>&b;</a>"),
       nullptr},
      {TEXT("<!DOCTYPE a [<!ENTITY b \"bbbbbbbb\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]><a>&c;</a>"),
       nullptr},
      {TEXT("<a>&b;</a>"), nullptr},
  };
  for (const Case& each : cases) {
    Reference<IXMLDOMNode> parent;
    ASSERT_EQ(0, XMLCreateAndAddElement(document.get(), root.get(), TEXT("parent"), parent.place()));
    const HRESULT status =
        XMLCreateAndAddNodeFromXMLFragment(document.get(), parent.get(), each.xml, node.place());
    std::string text;
    ASSERT_EQ(0, xmlText(parent.get(), text));
    EXPECT_EQ(each.added != nullptr ? 0 : kGeneralFailure, status);
    EXPECT_EQ(each.added != nullptr, bool{node}) << "a failure clears the place";
    EXPECT_EQ(each.added != nullptr ? "<parent>" + std::string(each.added) + "</parent>" : "<parent/>", text);
  }
}

TEST_F(Xml, RefusesNullAndWhatACommentCannotHold) {
  IXMLDOMDocument* const doc = document.get();
  EXPECT_EQ(kInvalidArgument, XMLCreateEmptyDocument(nullptr));
  EXPECT_EQ(kInvalidArgument, XMLAppendChild(doc, nullptr, node.place()));
  EXPECT_EQ(kInvalidArgument, XMLAppendChild(root.get(), root.get(), nullptr));
  EXPECT_EQ(kInvalidArgument, XMLCreateAndAddElement(nullptr, root.get(), TEXT("a"), node.place()));
  for (const WCHAR* text : {TEXT("a--b"), TEXT("a-")}) {
    EXPECT_EQ(kInvalidArgument, XMLCreateAndAddComment(doc, root.get(), text, node.place()));
  }
  EXPECT_EQ("<root/>", bytes());
}

TEST_F(Xml, WritesTreesOfAnyDepth) {
  constexpr int kDeep = 5000;
  Reference<IXMLDOMNode> at;
  ASSERT_EQ(0, XMLCreateAndAddElement(document.get(), root.get(), TEXT("d"), at.place()));
  for (int i = 1; i < kDeep; ++i) {
    Reference<IXMLDOMNode> below;
    ASSERT_EQ(0, XMLCreateAndAddElement(document.get(), at.get(), TEXT("d"), below.place()));
    at = std::move(below);
  }
  EXPECT_EQ(13u + (kDeep - 1) * 7 + 4, bytes().size());
}

}  // namespace
