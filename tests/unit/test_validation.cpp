// Validation by schemas, below its SQL functions, with a store of schemas of the test's own.
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "support/tree_records.hpp"

#include "compiled_schema.hpp"
#include "host/limits.hpp"
#include "libxml/xml.hpp"
#include "schema_store.hpp"
#include "services.hpp"
#include "validating.hpp"

#include <libxml/xmlschemastypes.h>

#include <map>
#include <string>
#include <vector>

namespace {

std::map<std::string, std::string, std::less<>> stored;
bool stored_anew = false;

} // namespace

namespace pkg_dbe_xml::validation {

const library_services &services() noexcept {
    static const library_services record = own_services();
    return record;
}

bool find_schema(std::string_view location, std::string &text) {
    const auto found = stored.find(location);
    if (found == stored.end()) {
        return false;
    }
    text = found->second;
    return true;
}

bool schemas_have_changed() {
    const bool result = stored_anew;
    stored_anew = false;
    return result;
}

} // namespace pkg_dbe_xml::validation

namespace {

using namespace pkg_dbe_xml::validation;

class validation : public sql::session_test {
  protected:
    static void store(const std::string &location, const std::string &text) {
        stored[location] = text;
        stored_anew = true;
    }
    static std::string list_schema() {
        return "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0'><zeroOrMore>"
               "<element name='b'><empty/></element></zeroOrMore></element>";
    }
    static std::string xsd(const std::string &body) {
        return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>" + body + "</xs:schema>";
    }
    // Line and path of each complaint, "-" where it names no node.
    static std::string complaints(const std::string &text, std::string_view location,
                                  bool is_own = true, std::size_t at_most = 1000) {
        char words[512] = "";
        int line = 0;
        xmlDocPtr const document = services().parse_text(text, words, line);
        EXPECT_NE(document, nullptr) << words;
        const std::string before = trees::records::of(document);
        std::string lines;
        {
            outcome result;
            result.complaints.at_most = at_most;
            validate_tree(reinterpret_cast<const xmlNode *>(document), is_own, schema_at(location),
                          result);
            for (const complaint &one : result.complaints.found) {
                lines += std::to_string(one.line) + " ";
                lines += one.node == nullptr ? "-" : std::string(services().path_of(one.node));
                lines += ";";
            }
            EXPECT_EQ(lines.empty(), result.complaints.errors == 0);
        }
        EXPECT_TRUE(is_own || trees::records::of(document) == before) << "the tree was changed";
        services().free_document(document);
        return lines;
    }
    void SetUp() override {
        // libxml2 keeps these for the process.
        xmlSchemaInitTypes();
        xmlRelaxNGInitTypes();
        sql::session_test::SetUp();
    }
    void TearDown() override {
        forget_schemas();
        stored.clear();
        sql::session_test::TearDown();
    }
};

TEST_F(validation, says_where_a_document_breaks_a_rule) {
    store("a.xsd", xsd("<xs:element name='a'><xs:complexType><xs:sequence><xs:element name='b' "
                       "type='xs:int' maxOccurs='9'/></xs:sequence><xs:attribute name='c' "
                       "type='xs:int'/></xs:complexType></xs:element>"));
    EXPECT_EQ(complaints("<a c='1'>\n<b>1</b> <b>2</b></a>", "a.xsd"), "");
    EXPECT_EQ(complaints("<a c='x'>\n<b>1</b>\n<b>y</b></a>", "a.xsd"), "1 /a;3 /a/b[2];");
    EXPECT_EQ(complaints("<a c='x'>\n<b>1</b>\n<b>y</b></a>", "a.xsd", true, 1), "1 /a;");
    EXPECT_EQ(complaints("<a>text<b>1</b></a>", "a.xsd"), "1 /a;");
    EXPECT_EQ(complaints("<a><b>1<![CDATA[2]]></b></a>", "a.xsd"), "");
    EXPECT_EQ(complaints("<z/>", "a.xsd"), "1 /z;");
}

TEST_F(validation, hands_values_over_as_they_are) {
    store("v.xsd", xsd("<xs:element name='a'><xs:complexType><xs:attribute name='v'><xs:simpleType>"
                       "<xs:restriction base='xs:string'><xs:enumeration value='a&amp;b&amp;#38;'/>"
                       "<xs:enumeration value=''/></xs:restriction></xs:simpleType></xs:attribute>"
                       "</xs:complexType></xs:element>"));
    EXPECT_EQ(complaints("<a v='a&amp;b&amp;#38;'/>", "v.xsd"), "");
    EXPECT_EQ(complaints("<a v=''/>", "v.xsd"), "");
    EXPECT_EQ(complaints("<a v='a&amp;b&amp;'/>", "v.xsd"), "1 /a;");
}

// Values that lie in the tree as they are stand beside such as are put together.
TEST_F(validation, tells_all_attributes_of_an_element) {
    const std::string kind = "' type='t'/>";
    store("w.xsd", xsd("<xs:simpleType name='t'><xs:restriction base='xs:string'><xs:enumeration "
                       "value='a&amp;b'/><xs:enumeration value='c'/><xs:enumeration value=''/>"
                       "</xs:restriction></xs:simpleType><xs:element name='a'><xs:complexType>"
                       "<xs:attribute name='p" +
                       kind + "<xs:attribute name='q" + kind + "<xs:attribute name='r" + kind +
                       "<xs:attribute name='s" + kind + "</xs:complexType></xs:element>"));
    EXPECT_EQ(complaints("<a p='a&amp;b' q='c' r='a&amp;b' s=''/>", "w.xsd"), "");
    EXPECT_EQ(complaints("<a p='c' q='a&amp;b' r='' s='a&amp;b'/>", "w.xsd"), "");
    EXPECT_EQ(complaints("<a p='c' q='a&amp;b&amp;' r='c' s='d'/>", "w.xsd"), "1 /a;1 /a;");
}

// The text of an element is one value, whatever stands between its pieces, and goes to no other.
TEST_F(validation, tells_each_element_its_own_text) {
    store("m.xsd", xsd("<xs:element name='a'><xs:complexType mixed='true'><xs:sequence>"
                       "<xs:element name='b' minOccurs='0' maxOccurs='9' type='xs:int'/>"
                       "<xs:element ref='a' minOccurs='0'/></xs:sequence></xs:complexType>"
                       "</xs:element><xs:element name='n' type='xs:int'/>"
                       "<xs:element name='s'><xs:complexType><xs:sequence><xs:element name='b' "
                       "maxOccurs='9'/></xs:sequence></xs:complexType></xs:element>"));
    EXPECT_EQ(complaints("<n>1<!--x-->2<![CDATA[3]]><?y?></n>", "m.xsd"), "");
    EXPECT_EQ(complaints("<n>1<!--x-->2<![CDATA[z]]><?y?></n>", "m.xsd"), "1 /n;");
    EXPECT_EQ(complaints("<n>7</n>", "m.xsd"), "");
    EXPECT_EQ(complaints("<n> <!--x--> </n>", "m.xsd"), "1 /n;");
    EXPECT_EQ(complaints("<a>x<b>1<!---->2</b>y<b>3</b>z<a>u<b>4</b>v</a>w</a>", "m.xsd"), "");
    EXPECT_EQ(complaints("<a>x<b>1<!---->q</b>y<b>3</b>z<a>u<b/>v</a>w</a>", "m.xsd"),
              "1 /a/b[1];1 /a/a/b;");
    EXPECT_EQ(complaints("<s> <b/>\n\t<b/> <!--x--> </s>", "m.xsd"), "");
    EXPECT_EQ(complaints("<s> <b/> t<b/></s>", "m.xsd"), "1 /s;");
    EXPECT_EQ(complaints("<s> <b/><![CDATA[t]]></s>", "m.xsd"), "1 /s;");
}

TEST_F(validation, finds_identifiers_that_are_there_twice) {
    store("i.xsd", xsd("<xs:simpleType name='key'><xs:restriction base='xs:ID'/></xs:simpleType>"
                       "<xs:element name='a'><xs:complexType><xs:sequence><xs:element name='b' "
                       "maxOccurs='9'><xs:complexType><xs:attribute name='k' type='key'/>"
                       "</xs:complexType></xs:element></xs:sequence></xs:complexType>"
                       "</xs:element>"));
    for (const bool is_own : {true, false}) {
        EXPECT_EQ(complaints("<a><b k='x'/>\n<b k='y'/></a>", "i.xsd", is_own), "");
        EXPECT_EQ(complaints("<a><b k='x'/>\n<b k=' x '/></a>", "i.xsd", is_own), "2 /a/b[2];");
    }
}

TEST_F(validation, checks_by_relax_ng_and_by_dtd) {
    store("r.rng", "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0'><oneOrMore>"
                   "<element name='b'><empty/></element></oneOrMore></element>");
    store("d.dtd", "<!ENTITY % p SYSTEM 'p.mod'>%p;<!ELEMENT a (b)+>");
    store("p.mod", "<!ELEMENT b EMPTY><!ATTLIST b i ID #IMPLIED r IDREF #IMPLIED>");
    for (const bool is_own : {true, false}) {
        EXPECT_EQ(complaints("<a><b/><b/></a>", "r.rng", is_own), "");
        EXPECT_NE(complaints("<a><b/>\n<c/></a>", "r.rng", is_own), "");
        EXPECT_EQ(complaints("<a><b i='x'/><b r='x'/></a>", "d.dtd", is_own), "");
        EXPECT_EQ(complaints("<a><b i='x'/>\n<b r='y'/></a>", "d.dtd", is_own), "2 /a/b[2];");
        EXPECT_EQ(complaints("<a><b i='x'/>\n<b i='x'/></a>", "d.dtd", is_own), "2 /a/b[2];");
    }
}

// Relax NG, document type definitions and identifiers of XML Schema get a bare copy of a tree,
// which must have all that they look at, and leave the tree as it is.
TEST_F(validation, writes_into_a_copy_that_has_all_that_is_looked_at) {
    const std::string text =
        "<!DOCTYPE a [<!NOTATION n SYSTEM 'n'><!ENTITY e SYSTEM 'u' NDATA n>]>\n"
        "<?p q?><a xmlns='u' xmlns:p='v' e='e' p:q='x'>\n<!--c--><b id='i' see='i k'>t<![CDATA[s]]>"
        "</b>\n<b id='k'/><?p?><c> </c>\n<p:d id='i'/></a><!--d-->";
    store("a.rng", "<element name='a' ns='u' xmlns='http://relaxng.org/ns/structure/1.0' "
                   "datatypeLibrary='http://www.w3.org/2001/XMLSchema-datatypes'><attribute "
                   "name='e' ns=''/><attribute name='q' ns='v'><value>x</value></attribute>"
                   "<oneOrMore><element name='b'><attribute name='id' ns=''><data type='ID'/>"
                   "</attribute><optional><attribute name='see' ns=''><data type='IDREFS'/>"
                   "</attribute></optional><choice><empty/><value>ts</value></choice></element>"
                   "</oneOrMore><element name='c'><text/></element></element>");
    store("a.dtd",
          "<!NOTATION n SYSTEM 'n'><!ENTITY e SYSTEM 'u' NDATA n><!ELEMENT a ANY><!ATTLIST "
          "a xmlns CDATA #FIXED 'u' xmlns:p CDATA 'w' e ENTITY #IMPLIED p:q (x|y) 'y'>"
          "<!ELEMENT b (#PCDATA)><!ATTLIST b id ID #IMPLIED see IDREFS #IMPLIED><!ELEMENT "
          "c EMPTY><!ELEMENT p:d ANY><!ATTLIST p:d id ID #IMPLIED>");
    store("a.xsd", "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' targetNamespace='u' "
                   "elementFormDefault='qualified'><xs:complexType name='t' mixed='true'>"
                   "<xs:attribute name='id' type='xs:ID'/><xs:attribute name='see' "
                   "type='xs:IDREFS'/></xs:complexType><xs:element name='a'><xs:complexType>"
                   "<xs:sequence><xs:any processContents='skip' maxOccurs='9'/></xs:sequence>"
                   "<xs:attribute name='e' type='xs:ENTITY'/><xs:anyAttribute "
                   "processContents='skip'/></xs:complexType></xs:element></xs:schema>");
    for (const char *location : {"a.rng", "a.dtd", "a.xsd"}) {
        EXPECT_EQ(complaints(text, location, false), complaints(text, location, true)) << location;
    }
    EXPECT_EQ(complaints(text, "a.xsd", false), "");
    EXPECT_EQ(
        complaints("<!DOCTYPE a [<!ENTITY e 'f'>]>\n<a xmlns='u' e='f'><b/></a>", "a.xsd", false),
        "2 /*;");
    EXPECT_EQ(complaints(text, "a.rng", false), "5 /*/*[4];");
    EXPECT_EQ(complaints(text, "a.dtd", false), "4 /*/*[3];5 /*/*[4];");
}

// An element below declarations of namespaces gets those that it uses in its copy.
TEST_F(validation, copies_elements_with_the_declarations_that_they_use) {
    store("n.dtd", "<!ELEMENT p:b (c*)><!ATTLIST p:b xmlns:p CDATA #FIXED 'u'><!ELEMENT c EMPTY>");
    store("n.rng", "<element name='b' ns='u' xmlns='http://relaxng.org/ns/structure/1.0'>"
                   "<zeroOrMore><element name='c' ns=''><empty/></element></zeroOrMore></element>");
    char words[512] = "";
    int line = 0;
    xmlDocPtr const document = services().parse_text(
        "<a xmlns:p='u' xmlns:q='v'><p:b><c/></p:b><p:b><d/></p:b></a>", words, line);
    const std::string before = trees::records::of(document);
    xmlNodePtr const first = xmlDocGetRootElement(document)->children;
    for (const char *location : {"n.dtd", "n.rng"}) {
        for (xmlNodePtr const element : {first, first->next}) {
            outcome result;
            validate_tree(element, false, schema_at(location), result);
            EXPECT_EQ(result.complaints.errors == 0, element == first) << location;
            EXPECT_TRUE(trees::records::of(document) == before);
        }
    }
    services().free_document(document);
}

// Values whose length libxml2 cannot count are refused before it sees them. The test makes them out
// of one text that is there many times.
TEST_F(validation, refuses_values_that_libxml2_cannot_count) {
    store("v.xsd", xsd("<xs:element name='a'><xs:complexType><xs:attribute name='b'/>"
                       "</xs:complexType></xs:element>"));
    store("v.dtd", "<!ELEMENT a EMPTY><!ATTLIST a b CDATA #IMPLIED>");
    store("v.rng", "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0'>"
                   "<attribute name='b'/></element>");
    char words[512] = "";
    int line = 0;
    xmlDocPtr const document = services().parse_text("<a b='1'/>", words, line);
    std::string ampersands(1U << 20U, '&');
    const auto validated = [&](const char *location, int pieces) {
        std::vector<xmlNode> made(static_cast<std::size_t>(pieces));
        xmlAttrPtr const attribute = xmlDocGetRootElement(document)->properties;
        xmlNodePtr const text = attribute->children;
        for (xmlNode &piece : made) {
            piece = *text;
            piece.content = reinterpret_cast<xmlChar *>(ampersands.data());
            piece.next = &piece == &made.back() ? nullptr : &piece + 1;
        }
        attribute->children = made.data();
        const host::call_record call = sql::run_in_call([&] {
            outcome result;
            validate_tree(reinterpret_cast<const xmlNode *>(document), false, schema_at(location),
                          result);
        });
        attribute->children = text;
        return call.report.sqlstate;
    };
    EXPECT_EQ(validated("v.xsd", 410), "54000"); // 2,150 million bytes with references
    EXPECT_EQ(validated("v.dtd", 342), "54000");
    EXPECT_EQ(validated("v.rng", 342), "54000");
    EXPECT_EQ(validated("v.xsd", 4), "");
    EXPECT_EQ(validated("v.dtd", 4), "");
    EXPECT_EQ(validated("v.rng", 4), "");
    services().free_document(document);
}

// A tree that somebody has does not know lines beyond 65,534: it tells of none rather than a wrong
// one. A text does.
TEST_F(validation, tells_no_line_that_it_does_not_know) {
    store("l.xsd", xsd("<xs:element name='a'><xs:complexType><xs:sequence><xs:element name='b'/>"
                       "</xs:sequence></xs:complexType></xs:element>"));
    store("l.dtd", "<!ELEMENT a (b)><!ELEMENT b EMPTY><!ELEMENT c ANY>");
    const std::string text = "<a>" + std::string(70000, '\n') + "<c>x</c></a>";
    EXPECT_EQ(complaints(text, "l.xsd"), "70001 /a/c;");
    EXPECT_EQ(complaints(text, "l.xsd", false), "0 /a/c;");
    EXPECT_EQ(complaints("<a><b/>" + std::string(70000, '\n') + "<d>x</d></a>", "l.dtd", false),
              "1 /a;0 /a/d;");
}

// Identifiers are told apart in a tree of any number of attributes, of which each is looked at
// once, and stay in a table until the end.
TEST_F(validation, keeps_identifiers_until_all_references_are_checked) {
    store("i.dtd", "<!ELEMENT a (b*)><!ELEMENT b EMPTY><!ATTLIST b i ID #IMPLIED r IDREF #IMPLIED "
                   "s IDREFS #IMPLIED t NMTOKEN #IMPLIED u CDATA #IMPLIED>");
    constexpr int k_many = 2000;
    std::string text = "<a>";
    for (int each = 0; each < k_many; ++each) {
        const std::string own = std::to_string(each);
        const std::string other = std::to_string(k_many - 1 - each);
        text += "<b i='i" + own + "' t='t' r='i" + other + "' u='" + own + "' s='i" + other + " i" +
                own + "'/>";
    }
    EXPECT_EQ(complaints(text + "</a>", "i.dtd", false), "");
    EXPECT_EQ(complaints(text + "\n<b s='i0 x'/></a>", "i.dtd", false), "2 /a/b[2001];");
    EXPECT_EQ(complaints(text + "\n<b i='i7'/></a>", "i.dtd", false), "2 /a/b[2001];");
}

// What a copy takes counts, and one that the session has no room for is not made.
TEST_F(validation, makes_no_copy_that_the_session_has_no_room_for) {
    store("l.rng", list_schema());
    std::string text = "<a>";
    for (int each = 0; each < 10000; ++each) {
        text += "<b/>";
    }
    char words[512] = "";
    int line = 0;
    xmlDocPtr const document = services().parse_text(text + "</a>", words, line);
    const compiled_schema &schema = schema_at("l.rng");
    {
        outcome first; // libxml2 completes a schema when it first uses it
        validate_tree(xmlDocGetRootElement(document), false, schema, first);
    }
    const std::int64_t in_use = host::gate.bytes_in_use;
    const int usual = host::max_session_memory;
    const auto validated = [&](std::int64_t room) {
        host::max_session_memory = static_cast<int>((in_use + room) / 1024);
        host::count_handle_bytes(0);
        const host::call_record call = sql::run_in_call([&] {
            outcome result;
            validate_tree(xmlDocGetRootElement(document), false, schema, result);
        });
        EXPECT_EQ(host::gate.bytes_in_use, in_use);
        return call.report.sqlstate;
    };
    EXPECT_EQ(validated(std::int64_t{10000 * sizeof(xmlNode) / 2}), "53400");
    EXPECT_EQ(validated(std::int64_t{64} << 20U), "");
    host::max_session_memory = usual;
    host::count_handle_bytes(0);
    services().free_document(document);
}

// A request to stop is served while a copy is made, and what was made of it goes.
TEST_F(validation, stops_while_it_copies) {
    store("s.rng", list_schema());
    std::string text = "<a>";
    for (int each = 0; each < 20000; ++each) {
        text += "<b/>";
    }
    char words[512] = "";
    int line = 0;
    xmlDocPtr const document = services().parse_text(text + "</a>", words, line);
    const compiled_schema &schema = schema_at("s.rng");
    {
        outcome first; // libxml2 completes a schema when it first uses it
        validate_tree(xmlDocGetRootElement(document), false, schema, first);
    }
    const std::int64_t in_use = host::gate.bytes_in_use;
    int stopped = 0;
    for (bool done = false; !done; ++stopped) {
        host::standalone::cancel_after_polls(stopped);
        const host::call_record call = sql::run_in_call([&] {
            outcome result;
            validate_tree(xmlDocGetRootElement(document), false, schema, result);
        });
        host::standalone::forget_cancel();
        EXPECT_EQ(host::gate.bytes_in_use, in_use);
        done = !call.failed;
        EXPECT_EQ(call.report.sqlstate, done ? "" : "57014");
    }
    EXPECT_GT(stopped, 2 * 20000 / 4096);
    services().free_document(document);
}

TEST_F(validation, keeps_schemas_until_they_change_and_gives_all_memory_back) {
    store("a.xsd", xsd("<xs:include schemaLocation='b.xsd'/><xs:element name='a' type='t'/>"));
    store("b.xsd", xsd("<xs:simpleType name='t'><xs:restriction base='xs:int'/></xs:simpleType>"));
    EXPECT_EQ(complaints("<a>1</a>", "a.xsd"), "");
    const compiled_schema *const first = &schema_at("a.xsd");
    EXPECT_EQ(&schema_at("a.xsd"), first);
    store("b.xsd", xsd("<xs:simpleType name='t'><xs:restriction base='xs:date'/></xs:simpleType>"));
    EXPECT_EQ(complaints("<a>1</a>", "a.xsd"), "1 /a;");
    forget_schemas();
    const std::int64_t before = host::gate.bytes_in_use;
    EXPECT_EQ(complaints("<a>1</a>", "a.xsd"), "1 /a;");
    forget_schemas();
    EXPECT_EQ(host::gate.bytes_in_use, before);
}

TEST_F(validation, refuses_schemas_that_are_none) {
    store("n.xsd", "<a/>");
    store("i.xsd", xsd("<xs:include schemaLocation='i.xsd'/>"));
    store("m.xsd", xsd("<xs:import namespace='u' schemaLocation='gone.xsd'/>"));
    store("x.xsd", "<xs:schema");
    for (const char *location : {"n.xsd", "i.xsd", "m.xsd", "x.xsd", "gone.xsd"}) {
        EXPECT_THROW(static_cast<void>(schema_at(location)), host::raised) << location;
    }
}

// libxml2 tells of such a content model once for each definition.
TEST_F(validation, complains_each_time_of_ambiguous_content) {
    store("m.dtd", "<!ELEMENT a ((b?,c)|c)><!ELEMENT b EMPTY><!ELEMENT c EMPTY>");
    for (int round = 0; round < 3; ++round) {
        for (const bool is_own : {true, false}) {
            EXPECT_EQ(complaints("<a>\n<c/></a>", "m.dtd", is_own), "1 /a;") << round;
        }
    }
    EXPECT_EQ(complaints("<b/>", "m.dtd"), "");
}

// libxml2 recurses without end where a choice of names stands within another one behind a name.
TEST_F(validation, refuses_nested_choices_of_names) {
    const auto rng = [](const std::string &names) {
        return "<element xmlns='http://relaxng.org/ns/structure/1.0'>" + names +
               "<text/></element>";
    };
    const std::string nested = "<choice><name>b</name> <choice><name>c</name><name>a</name>"
                               "</choice></choice>";
    store("n.rng", rng(nested));
    store("e.rng", rng("<anyName><except>" + nested + "</except></anyName>"));
    store("x.rng", "<grammar xmlns='http://relaxng.org/ns/structure/1.0'><start><choice><element "
                   "name='a'><text/></element><externalRef href='f/n.rng'/></choice></start>"
                   "</grammar>");
    store("f/n.rng", rng("<name>b</name><attribute>" + nested + "</attribute>"));
    for (const char *location : {"n.rng", "e.rng", "x.rng"}) {
        EXPECT_THROW(static_cast<void>(schema_at(location)), host::raised) << location;
    }
    // Choices of patterns, and one that stands first, do no harm.
    store("p.rng", "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0'><choice><empty/>"
                   "<choice><value>1</value><value>2</value></choice></choice></element>");
    EXPECT_EQ(complaints("<a>2</a>", "p.rng"), "");
    store("q.rng", rng("<choice><choice><name>b</name><name>c</name></choice><name>a</name>"
                       "</choice>"));
    EXPECT_EQ(complaints("<a>2</a>", "q.rng"), "");
}

// A reference to an entity is found in attributes too, by pieces and in a copy.
TEST_F(validation, refuses_references_in_attributes) {
    store("x.xsd", xsd("<xs:element name='a'><xs:complexType><xs:attribute name='b'/>"
                       "</xs:complexType></xs:element>"));
    store("x.dtd", "<!ELEMENT a EMPTY><!ATTLIST a b CDATA #IMPLIED>");
    char words[512] = "";
    int line = 0;
    xmlDocPtr const document = services().parse_text("<a b='1'/>", words, line);
    const auto validated = [document](const char *location) {
        outcome result;
        validate_tree(reinterpret_cast<const xmlNode *>(document), false, schema_at(location),
                      result);
        return result.complaints.errors;
    };
    EXPECT_EQ(validated("x.xsd"), 0U);
    EXPECT_EQ(validated("x.dtd"), 0U);
    {
        const host::tree_scope scope;
        xmlAttrPtr const attribute = xmlDocGetRootElement(document)->properties;
        xmlNodePtr const made = xmlNewReference(document, BAD_CAST "e");
        made->parent = reinterpret_cast<xmlNodePtr>(attribute);
        made->prev = attribute->last;
        attribute->last = attribute->last->next = made;
    }
    EXPECT_THROW(validated("x.xsd"), host::raised);
    EXPECT_THROW(validated("x.dtd"), host::raised);
    services().free_document(document);
}

// All prefixes of an element are told to libxml2 in a time that grows with their number, and those
// above the topmost one hide each other.
TEST_F(validation, tells_of_many_prefixes) {
    store("q.xsd", xsd("<xs:element name='a'><xs:complexType><xs:attribute name='b' "
                       "type='xs:QName'/></xs:complexType></xs:element>"));
    constexpr int k_many = 100000;
    char words[512] = "";
    int line = 0;
    xmlDocPtr const document = services().parse_text("<o><a b='p99999:c'/></o>", words, line);
    xmlNodePtr const outer = xmlDocGetRootElement(document);
    {
        const host::tree_scope scope;
        for (xmlNodePtr const element : {outer->children, outer}) {
            xmlNsPtr *end = &element->nsDef;
            for (int each = 0; each < k_many; ++each) {
                const std::string prefix = "p" + std::to_string(each);
                *end = xmlNewNs(nullptr, BAD_CAST "urn:u", BAD_CAST prefix.c_str());
                end = &(*end)->next;
            }
        }
    }
    outcome result;
    validate_tree(outer->children, false, schema_at("q.xsd"), result);
    EXPECT_EQ(result.complaints.errors, 0U);
    services().free_document(document);
}

TEST_F(validation, keeps_no_more_than_sixteen_schemas) {
    std::int64_t sixteen = 0;
    for (int number = 0; number < 24; ++number) {
        const std::string location = std::to_string(number) + ".xsd";
        store(location, xsd("<xs:element name='a'/>"));
        stored_anew = false;
        EXPECT_EQ(complaints("<a/>", location), "");
        if (number == 15) {
            sixteen = host::gate.bytes_in_use;
        }
    }
    EXPECT_LE(host::gate.bytes_in_use, sixteen + 1024);
}

} // namespace
