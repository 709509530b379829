// The canonical form with the package xmldom: the examples of the recommendations with the bytes
// that they give, subtrees and what they have from above, and what has no canonical form.
#include "package_changing.hpp"
#include "standalone_faults.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "tree/base_join.hpp"

#include "canonical_reports.hpp"

#include <cstdio>
#include <memory>

namespace {

using sql::call;
namespace standalone = host::standalone;

sql::value texts(const std::vector<const char *> &members, std::size_t columns = 1) {
    return sql::value::of_datum(standalone::make_text_array(members, columns));
}

class canonical : public package_changing {
  protected:
    static sql::handle parsed(std::string_view text) {
        return call(xmldom_parse_text, text).handle();
    }
    // Of the same with the attributes that the document type gives by default, which xmldom.parse
    // leaves out: nothing is added to what the text says.
    static sql::handle with_defaults(std::string_view text) {
        return trees::parsed(text, XML_PARSE_NOENT | XML_PARSE_DTDATTR);
    }
    template <class... Argument>
    static std::string form(const sql::handle &node, const Argument &...arguments) {
        const sql::result made = call(xmldom_canonical, node, arguments...);
        return made.failed() ? "refused: " + made.error().message : made.text();
    }
    static std::string inclusive(const sql::handle &node) { return form(node); }
    static std::string exclusive(const sql::handle &node) { return form(node, true); }
    static std::string exclusive_but(const sql::handle &node,
                                     const std::vector<const char *> &prefixes) {
        return form(node, true, false, texts(prefixes));
    }
    static std::string later(const sql::handle &node) {
        return form(node, false, false, sql::null, "1.1");
    }
};

// --- the examples of Canonical XML --------------------------------------------------------------

constexpr const char *k_around_root = R"(<?xml version="1.0"?>

<?xml-stylesheet   href="doc.xsl"
   type="text/xsl"   ?>

<!DOCTYPE doc SYSTEM "doc.dtd">

<doc>Hello, world!<!-- Comment 1 --></doc>

<?pi-without-data     ?>

<!-- Comment 2 -->

<!-- Comment 3 -->
)";

TEST_F(canonical, instructions_and_comments_around_the_root) {
    const sql::handle document = parsed(k_around_root);
    EXPECT_EQ(form(document), R"(<?xml-stylesheet href="doc.xsl"
   type="text/xsl"   ?>
<doc>Hello, world!</doc>
<?pi-without-data?>)");
    EXPECT_EQ(form(document, false, true), R"(<?xml-stylesheet href="doc.xsl"
   type="text/xsl"   ?>
<doc>Hello, world!<!-- Comment 1 --></doc>
<?pi-without-data?>
<!-- Comment 2 -->
<!-- Comment 3 -->)");
}

TEST_F(canonical, blanks_in_content) {
    constexpr const char *text = R"(<doc>
   <clean>   </clean>
   <dirty>   A   B   </dirty>
   <mixed>
      A
      <clean>   </clean>
      B
      <dirty>   A   B   </dirty>
      C
   </mixed>
</doc>)";
    EXPECT_EQ(form(parsed(text)), text);
}

TEST_F(canonical, start_and_end_tags) {
    EXPECT_EQ(form(with_defaults(R"(<!DOCTYPE doc [<!ATTLIST e9 attr CDATA "default">]>
<doc>
   <e1   />
   <e2   ></e2>
   <e3   name = "elem3"   id="elem3"   />
   <e4   name="elem4"   id="elem4"   ></e4>
   <e5 a:attr="out" b:attr="sorted" attr2="all" attr="I'm"
      xmlns:b="http://www.ietf.org"
      xmlns:a="http://www.w3.org"
      xmlns="http://example.org"/>
   <e6 xmlns="" xmlns:a="http://www.w3.org">
      <e7 xmlns="http://www.ietf.org">
         <e8 xmlns="" xmlns:a="http://www.w3.org">
            <e9 xmlns="" xmlns:a="http://www.ietf.org"/>
         </e8>
      </e7>
   </e6>
</doc>)")),
              R"(<doc>
   <e1></e1>
   <e2></e2>
   <e3 id="elem3" name="elem3"></e3>
   <e4 id="elem4" name="elem4"></e4>
   <e5 xmlns="http://example.org" xmlns:a="http://www.w3.org" xmlns:b="http://www.ietf.org" )"
              R"(attr="I'm" attr2="all" b:attr="sorted" a:attr="out"></e5>
   <e6 xmlns:a="http://www.w3.org">
      <e7 xmlns="http://www.ietf.org">
         <e8 xmlns="">
            <e9 xmlns:a="http://www.ietf.org" attr="default"></e9>
         </e8>
      </e7>
   </e6>
</doc>)");
}

TEST_F(canonical, characters_and_references) {
    EXPECT_EQ(form(parsed(R"(<!DOCTYPE doc [
<!ATTLIST normId id ID #IMPLIED>
<!ATTLIST normNames attr NMTOKENS #IMPLIED>
]>
<doc>
   <text>First line&#x0d;&#10;Second line</text>
   <value>&#x32;</value>
   <compute><![CDATA[value>"0" && value<"10" ?"valid":"error"]]></compute>
   <compute expr='value>"0" &amp;&amp; value&lt;"10" ?"valid":"error"'>valid</compute>
   <norm attr=' &apos;   &#x20;&#13;&#xa;&#9;   &apos; '/>
   <normNames attr='   A   &#x20;&#13;&#xa;&#9;   B   '/>
   <normId id=' &apos;   &#x20;&#13;&#xa;&#9;   &apos; '/>
</doc>)")),
              R"(<doc>
   <text>First line&#xD;
Second line</text>
   <value>2</value>
   <compute>value&gt;"0" &amp;&amp; value&lt;"10" ?"valid":"error"</compute>
   <compute expr="value>&quot;0&quot; &amp;&amp; value&lt;&quot;10&quot; )"
              R"(?&quot;valid&quot;:&quot;error&quot;">valid</compute>
   <norm attr=" '    &#xD;&#xA;&#x9;   ' "></norm>
   <normNames attr="A &#xD;&#xA;&#x9; B"></normNames>
   <normId id="' &#xD;&#xA;&#x9; '"></normId>
</doc>)");
}

// The second entity of the example lies in a file. Nothing is loaded here: it stands in the type.
TEST_F(canonical, entity_references) {
    EXPECT_EQ(form(parsed(R"(<!DOCTYPE doc [
<!ATTLIST doc attrExtEnt ENTITY #IMPLIED>
<!ENTITY ent1 "Hello">
<!ENTITY ent2 "world">
<!ENTITY entExt SYSTEM "earth.gif" NDATA gif>
<!NOTATION gif SYSTEM "viewgif.exe">
]>
<doc attrExtEnt="entExt">
   &ent1;, &ent2;!
</doc>

<!-- Let world.txt contain "world" (excluding the quotes) -->)")),
              "<doc attrExtEnt=\"entExt\">\n   Hello, world!\n</doc>");
}

TEST_F(canonical, always_in_utf_8) {
    EXPECT_EQ(form(parsed("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><doc>&#169;</doc>")),
              "<doc>\xC2\xA9</doc>");
    use_database_encoding("LATIN1");
    EXPECT_EQ(form(parsed("<?xml version=\"1.0\"?><doc>\xA9</doc>")), "<doc>\xC2\xA9</doc>");
}

constexpr const char *k_subset = R"(<!DOCTYPE doc [
<!ATTLIST e2 xml:space (default|preserve) 'preserve'>
<!ATTLIST e3 id ID #IMPLIED>
]>
<doc xmlns="http://www.ietf.org" xmlns:w3c="http://www.w3.org" xml:base="something/else">
   <e1>
      <e2 xmlns="" xml:id="abc" xml:base="../bar/">
         <e3 id="E3" xml:base="foo"/>
      </e2>
   </e1>
</doc>)";

// Of the example whose middle elements are left out: here all above the innermost are.
TEST_F(canonical, subtrees_have_attributes_from_above) {
    const sql::handle e3 = child(root(with_defaults(k_subset)), {1, 1, 1});
    EXPECT_EQ(inclusive(e3), "<e3 xmlns:w3c=\"http://www.w3.org\" id=\"E3\" xml:base=\"foo\" "
                             "xml:id=\"abc\" xml:space=\"preserve\"></e3>");
    EXPECT_EQ(later(e3), "<e3 xmlns:w3c=\"http://www.w3.org\" id=\"E3\" xml:base=\"bar/foo\" "
                         "xml:space=\"preserve\"></e3>");
    EXPECT_EQ(exclusive(e3), "<e3 id=\"E3\" xml:base=\"foo\"></e3>");
}

// --- the examples of the exclusive form ---------------------------------------------------------

TEST_F(canonical, exclusive_of_what_is_enveloped) {
    const sql::handle alone = parsed("<n1:elem1 xmlns:n1=\"http://b.example\">content</n1:elem1>");
    const sql::handle enveloped = child(root(parsed("<n0:pdu xmlns:n0=\"http://a.example\">"
                                                    "<n1:elem1 xmlns:n1=\"http://b.example\">"
                                                    "content</n1:elem1></n0:pdu>")),
                                        {0});
    const std::string expected = "<n1:elem1 xmlns:n1=\"http://b.example\">content</n1:elem1>";
    EXPECT_EQ(exclusive(alone), expected);
    EXPECT_EQ(exclusive(enveloped), expected);
    EXPECT_EQ(inclusive(enveloped), "<n1:elem1 xmlns:n0=\"http://a.example\" "
                                    "xmlns:n1=\"http://b.example\">content</n1:elem1>");
}

constexpr const char *k_local = R"(<n0:local xmlns:n0="foo:bar"
          xmlns:n3="ftp://example.org">
  <n1:elem2 xmlns:n1="http://example.net"
            xml:lang="en">
    <n3:stuff xmlns:n3="ftp://example.org"/>
  </n1:elem2>
</n0:local>)";
constexpr const char *k_pdu = R"(<n2:pdu xmlns:n1="http://example.com"
        xmlns:n2="http://foo.example"
        xml:lang="fr"
        xml:space="retain">
  <n1:elem2 xmlns:n1="http://example.net"
            xml:lang="en">
    <n3:stuff xmlns:n3="ftp://example.org"/>
  </n1:elem2>
</n2:pdu>)";

TEST_F(canonical, exclusive_of_what_is_enveloped_again) {
    const sql::handle local = child(root(parsed(k_local)), {1});
    const sql::handle pdu = child(root(parsed(k_pdu)), {1});
    EXPECT_EQ(inclusive(local), R"(<n1:elem2 xmlns:n0="foo:bar" xmlns:n1="http://example.net" )"
                                R"(xmlns:n3="ftp://example.org" xml:lang="en">
    <n3:stuff></n3:stuff>
  </n1:elem2>)");
    EXPECT_EQ(inclusive(pdu), R"(<n1:elem2 xmlns:n1="http://example.net" )"
                              R"(xmlns:n2="http://foo.example" xml:lang="en" xml:space="retain">
    <n3:stuff xmlns:n3="ftp://example.org"></n3:stuff>
  </n1:elem2>)");
    const std::string expected = R"(<n1:elem2 xmlns:n1="http://example.net" xml:lang="en">
    <n3:stuff xmlns:n3="ftp://example.org"></n3:stuff>
  </n1:elem2>)";
    EXPECT_EQ(exclusive(local), expected);
    EXPECT_EQ(exclusive(pdu), expected);
    // With a prefix that is treated as in the inclusive form, they are as different as that.
    EXPECT_EQ(exclusive_but(local, {"n0"}),
              R"(<n1:elem2 xmlns:n0="foo:bar" xmlns:n1="http://example.net" xml:lang="en">
    <n3:stuff xmlns:n3="ftp://example.org"></n3:stuff>
  </n1:elem2>)");
    EXPECT_EQ(exclusive_but(pdu, {"n0", "n2", "xml"}),
              R"(<n1:elem2 xmlns:n1="http://example.net" xmlns:n2="http://foo.example" )"
              R"(xml:lang="en">
    <n3:stuff xmlns:n3="ftp://example.org"></n3:stuff>
  </n1:elem2>)");
}

// --- namespaces ---------------------------------------------------------------------------------

TEST_F(canonical, the_default_namespace_is_taken_back) {
    const sql::handle r = root(parsed("<r xmlns='urn:r' xmlns:p='urn:p'><p:a><b xmlns=''><c/></b>"
                                      "</p:a></r>"));
    const std::string whole = "<r xmlns=\"urn:r\" xmlns:p=\"urn:p\"><p:a><b xmlns=\"\"><c></c></b>"
                              "</p:a></r>";
    EXPECT_EQ(inclusive(r), whole);
    EXPECT_EQ(exclusive(r), "<r xmlns=\"urn:r\"><p:a xmlns:p=\"urn:p\"><b xmlns=\"\"><c></c></b>"
                            "</p:a></r>");
    EXPECT_EQ(exclusive_but(r, {"p"}), whole);
    const sql::handle a = child(r, {0});
    EXPECT_EQ(inclusive(a), "<p:a xmlns=\"urn:r\" xmlns:p=\"urn:p\"><b xmlns=\"\"><c></c></b>"
                            "</p:a>");
    EXPECT_EQ(exclusive(a), "<p:a xmlns:p=\"urn:p\"><b><c></c></b></p:a>");
    EXPECT_EQ(exclusive_but(a, {"#default"}), inclusive(a));
    EXPECT_EQ(inclusive(child(a, {0})), "<b xmlns:p=\"urn:p\"><c></c></b>");
    EXPECT_EQ(exclusive(child(a, {0})), "<b><c></c></b>");
}

TEST_F(canonical, declarations_that_say_nothing_new_go) {
    EXPECT_EQ(form(parsed("<p:a xmlns:p='urn:p'><p:b xmlns:p='urn:p'/><p:b xmlns:p='urn:q'>"
                          "<p:c xmlns:p='urn:p'/></p:b></p:a>")),
              "<p:a xmlns:p=\"urn:p\"><p:b></p:b><p:b xmlns:p=\"urn:q\">"
              "<p:c xmlns:p=\"urn:p\"></p:c></p:b></p:a>");
}

TEST_F(canonical, uris_are_written_as_values) {
    EXPECT_EQ(form(parsed("<a xmlns='http://h/?x=1&amp;y=&lt;&quot;'/>")),
              "<a xmlns=\"http://h/?x=1&amp;y=&lt;&quot;\"></a>");
}

TEST_F(canonical, attributes_by_namespace_and_name) {
    EXPECT_EQ(form(parsed("<a xmlns:p='urn:z' xmlns:q='urn:a' p:a='1' q:b='2' b='3' q:a='4' "
                          "xml:lang='5' a='6' aa='7' \xC3\xB6='8' Z='9'/>")),
              "<a xmlns:p=\"urn:z\" xmlns:q=\"urn:a\" Z=\"9\" a=\"6\" aa=\"7\" b=\"3\" "
              "\xC3\xB6=\"8\" xml:lang=\"5\" q:a=\"4\" q:b=\"2\" p:a=\"1\"></a>");
}

TEST_F(canonical, relative_uris_have_no_form) {
    const auto refusal = [](const char *text, auto... arguments) {
        const sql::result made = call(xmldom_canonical, parsed(text), arguments...);
        EXPECT_TRUE(made.failed()) << text;
        return made.failed() ? made.error() : sql::error{};
    };
    EXPECT_REPORT(call(xmldom_canonical, parsed("<a xmlns='b/c'/>")), reports::relative_namespace,
                  "an element <a>", "b/c");
    for (const char *const text :
         {"<a><b xmlns:p='x'/></a>", "<a><b xmlns='../x'/></a>", "<a><b xmlns='#x'/></a>",
          "<a><b xmlns='1:x'/></a>", "<a><b xmlns='a b:x'/></a>", "<a><b xmlns=':x'/></a>"}) {
        EXPECT_EQ(refusal(text).context.substr(0, 8), "path /a/") << text;
        EXPECT_EQ(refusal(text, true).sqlstate, "2200N") << text;
    }
    EXPECT_EQ(form(parsed("<a xmlns='urn:\xC3\xB6'/>")), "<a xmlns=\"urn:\xC3\xB6\"></a>");
    // What is declared above counts, what is declared beside does not.
    const sql::handle r = root(parsed("<r xmlns:p='x'><a/><b xmlns:p='urn:x'/></r>"));
    EXPECT_REPORT(call(xmldom_canonical, child(r, {0})), reports::relative_namespace,
                  "an element <r>", "x");
    EXPECT_EQ(inclusive(child(r, {1})), "<b xmlns:p=\"urn:x\"></b>");
}

// --- attributes from above ----------------------------------------------------------------------

TEST_F(canonical, bases_are_joined) {
    struct joined {
        std::string_view base, reference, expected;
    };
    for (const joined &each : std::initializer_list<joined>{
             {"../bar/", "foo", "../bar/foo"},
             {"something/else", "../bar/foo", "bar/foo"},
             {"http://h/a/b", "c", "http://h/a/c"},
             {"http://h/a/b", "../../../c", "http://h/c"},
             {"http://h/a/b?q", "", "http://h/a/b?q"},
             {"http://h/a/b?q", "?r", "http://h/a/b?r"},
             {"http://h/a/b?q", "#f", "http://h/a/b?q"},
             {"http://h", "c", "http://h/c"},
             {"http://h/a", "//k/./b/../c", "http://k/c"},
             {"http://h/a", "ftp://k/b/./c#f", "ftp://k/b/c"},
             {"http://h/a", "/b/./c", "http://h/b/c"},
             {"a/b", "c", "a/c"},
             {"a/b/", "..", "a/"},
             {"a/b", "..", ""},
             {"..", "a", "../a"},
             {"../..", "a", "../../a"},
             {"a/..", "b", "b"},
             {"a/", "../../..", "../../"},
             {"no/", ".././/pseudo-netpath/seg/file.ext", "pseudo-netpath/seg/file.ext"},
             {"yes/no//", "..//.///pseudo-netpath/seg/file.ext", "yes/pseudo-netpath/seg/file.ext"},
             {"/a/b/c/./", "../../g", "/a/g"},
             {"mid/content=5/", "../6", "mid/6"},
             {"urn:x", "a", "urn:a"},
             {"", "a", "a"},
             {"a", "", "a"}}) {
        pkg_dbe_xml::joined_base made;
        pkg_dbe_xml::join_bases(each.base, each.reference, made);
        EXPECT_EQ(pkg_dbe_xml::view_of(made), each.expected) << each.base << " " << each.reference;
    }
}

TEST_F(canonical, bases_of_subtrees) {
    const sql::handle r = root(parsed("<r xml:base='http://h/a/'><b xml:base='x/'><c xml:base='..'>"
                                      "<d xml:base=''/><e/></c></b><f xml:base='g'/></r>"));
    const sql::handle c = child(r, {0, 0});
    EXPECT_EQ(later(c), "<c xml:base=\"http://h/a/\"><d xml:base=\"\"></d><e></e></c>");
    EXPECT_EQ(later(child(c, {0})), "<d xml:base=\"http://h/a/\"></d>");
    EXPECT_EQ(later(child(c, {1})), "<e xml:base=\"http://h/a/\"></e>");
    EXPECT_EQ(later(r).substr(0, 26), "<r xml:base=\"http://h/a/\">");
    EXPECT_EQ(inclusive(child(c, {1})), "<e xml:base=\"..\"></e>");
    // An empty base is written where nothing above has one, and left out where one comes to that.
    EXPECT_EQ(later(child(root(parsed("<r><a xml:base=''/></r>")), {0})), "<a xml:base=\"\"></a>");
    const sql::handle empty = root(parsed("<r xml:base='a/'><a xml:base='..'><b/></a></r>"));
    EXPECT_EQ(later(child(empty, {0})), "<a><b></b></a>");
    EXPECT_EQ(later(child(empty, {0, 0})), "<b></b>");
}

TEST_F(canonical, only_the_nearest_attribute_is_inherited) {
    const sql::handle a = child(root(parsed("<r xml:lang='de' xml:space='default' xml:id='i' "
                                            "xml:x='0'><s xml:lang='en'><a xml:x='1'/></s></r>")),
                                {0, 0});
    EXPECT_EQ(inclusive(a),
              "<a xml:id=\"i\" xml:lang=\"en\" xml:space=\"default\" xml:x=\"1\"></a>");
    EXPECT_EQ(later(a), "<a xml:lang=\"en\" xml:space=\"default\" xml:x=\"1\"></a>");
    EXPECT_EQ(exclusive(a), "<a xml:x=\"1\"></a>");
}

// --- nodes of every type ------------------------------------------------------------------------

TEST_F(canonical, nodes_by_themselves) {
    const sql::handle document = parsed("<!--c&--><r a='1'>&lt;\r\n<![CDATA[>]]><!--d--><?p i?></r>"
                                        "<?q?>");
    const sql::handle r = root(document);
    EXPECT_EQ(form(child(r, {0})), "&lt;\n");
    EXPECT_EQ(form(child(r, {1})), "&gt;");
    EXPECT_EQ(form(child(r, {2})), "");
    EXPECT_EQ(form(child(r, {2}), false, true), "<!--d-->");
    EXPECT_EQ(form(child(r, {3})), "<?p i?>");
    // Beside the root they have their line feeds.
    EXPECT_EQ(form(child(document, {0}), false, true), "<!--c&-->\n");
    EXPECT_EQ(form(child(document, {0})), "");
    EXPECT_EQ(form(child(document, {2})), "\n<?q?>");
    const sql::handle fragment = call(xmldom_create_document_fragment, document).handle();
    EXPECT_EQ(form(fragment), "");
    call(xmldom_append_child, fragment, child(r, {0}));
    call(xmldom_append_child, fragment, element(document, "p:e", "urn:p"));
    call(xmldom_append_child, fragment, element(document, "p:e", "urn:p"));
    EXPECT_EQ(form(fragment), "&lt;\n<p:e xmlns:p=\"urn:p\"></p:e><p:e xmlns:p=\"urn:p\"></p:e>");
    EXPECT_REPORT(call(xmldom_canonical, attribute(r, "a")), reports::wrong_node_type,
                  "a document, a fragment, an element or one of its children", "an attribute a");
    EXPECT_TRUE(
        call(xmldom_canonical, call(xmldom_get_doctype, parsed("<!DOCTYPE r><r/>")).handle())
            .failed());
}

TEST_F(canonical, detached_trees) {
    const sql::handle r = root(parsed("<r xmlns:p='urn:p' xml:lang='de'><p:a><b/></p:a></r>"));
    const sql::handle a = child(r, {0});
    call(xmldom_remove, a);
    const std::string whole = "<p:a xmlns:p=\"urn:p\"><b></b></p:a>";
    EXPECT_EQ(inclusive(a), whole);
    EXPECT_EQ(inclusive(child(a, {0})), "<b xmlns:p=\"urn:p\"></b>");
}

TEST_F(canonical, carriage_returns_are_references_everywhere) {
    const sql::handle document = parsed("<a b='&#13;'>&#13;<!--x--><?p x?></a>");
    const sql::handle r = root(document);
    call(xmldom_set_data, child(r, {1}), "x");
    call(xml_dom_set_node_value, child(r, {1}), "\r");
    call(xml_dom_set_node_value, child(r, {2}), "y\r");
    EXPECT_EQ(form(document, false, true), "<a b=\"&#xD;\">&#xD;<!--&#xD;--><?p y&#xD;?></a>");
}

// --- entities that stand as references ----------------------------------------------------------

TEST_F(canonical, references_are_unfolded) {
    const sql::handle whole = document(
        "<!DOCTYPE r [<!ENTITY t 'text'><!ENTITY m '[&t;<x y=\"&t;\"/>&t;]'><!ENTITY u SYSTEM 'u'>"
        "<!ENTITY n 'not read'><!ENTITY k '&#38;lt;'>]>"
        "<r a='1&t;2' b='&k;'>&m;<b/>&t;&k;<c>&u;</c></r>");
    const sql::handle r = root(whole);
    EXPECT_REPORT(call(xmldom_canonical, child(r, {0})), reports::wrong_node_type,
                  "a document, a fragment, an element or one of its children",
                  "an entity reference m");
    EXPECT_EQ(form(child(r, {4})).substr(0, 7), "refused");
    call(xmldom_remove, child(r, {4}));
    EXPECT_EQ(inclusive(r), "<r a=\"1text2\" b=\"&lt;\">[text<x y=\"text\"></x>text]<b></b>text&lt;"
                            "</r>");
    const auto refer = [&](const char *name) {
        call(xmldom_append_child, r, call(xmldom_create_entity_reference, whole, name).handle());
    };
    refer("n");
    EXPECT_EQ(inclusive(r).substr(inclusive(r).size() - 12), "not read</r>");
    refer("amp");
    EXPECT_EQ(inclusive(r).substr(inclusive(r).size() - 17), "not read&amp;</r>");
    const sql::handle elsewhere = root(document("<!DOCTYPE r SYSTEM 's'><r>&x;</r>"));
    EXPECT_EQ(
        call(xmldom_canonical, elsewhere).error().message,
        "an entity reference x cannot be written as XML: the document declares no such entity");
}

// A base that is joined is not written without what an entity in it stands for.
TEST_F(canonical, entities_in_bases_that_are_joined) {
    const auto joined = [](const char *name) {
        const sql::handle d = document("<!DOCTYPE r [<!ENTITY t 'text'><!ENTITY n '&t;'>]>"
                                       "<r xml:base='a/'><b xml:base='c'/></r>");
        xmlDocPtr const tree = trees::document_of(d);
        {
            const host::tree_scope scope;
            xmlAttrPtr const base = xmlDocGetRootElement(tree)->children->properties;
            xmlNodePtr const made = xmlNewReference(tree, trees::xml(name));
            made->parent = reinterpret_cast<xmlNodePtr>(base);
            made->prev = base->last;
            base->last = base->last->next = made;
        }
        const sql::result made =
            call(xmldom_canonical, child(root(d), {0}), false, false, sql::null, "1.1");
        return made.failed() ? made.error().message : made.text();
    };
    EXPECT_EQ(joined("t"), "<b xml:base=\"a/ctext\"></b>");
    EXPECT_EQ(joined("n"), "an entity reference n cannot be written as XML: its entity is "
                           "more than text, in a base that is joined");
    EXPECT_EQ(joined("x"), "an entity reference x cannot be written as XML: the document declares "
                           "no such entity");
}

} // namespace
