// Trees that no text and no function makes, or that few do, and what the functions make of them:
// nodes where no parser puts them, strings where no parser keeps them, references that have lost
// what they stand for.
#include "samples.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include "edit/tree_append.hpp"
#include "edit/tree_attributes.hpp"
#include "edit/tree_copy.hpp"
#include "edit/tree_texts.hpp"
#include "error_reports.hpp"
#include "host/lob.hpp"
#include "libxml/xml.hpp"
#include "standalone_session.hpp"
#include "tree/immutable_nodes.hpp"
#include "tree/node_text.hpp"
#include "tree/pkg_xml_dom_common.hpp"
#include "write/tree_writer.hpp"

#include <libxml/HTMLtree.h>
#include <libxml/parserInternals.h>

#include <climits>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace standalone = host::standalone;
using pkg_dbe_xml::as_node;
using pkg_dbe_xml::xml_node_ptr;
using trees::xml;

template <class... Argument> sql::handle made(sql::function entry, const Argument &...arguments) {
    return sql::call(entry, arguments...).handle();
}

void put_behind(xmlNodePtr parent, xmlNodePtr child) {
    child->parent = parent;
    child->prev = parent->last;
    (parent->last == nullptr ? parent->children : parent->last->next) = child;
    parent->last = child;
}

std::string text_of(const xmlNode *node) {
    pkg_dbe_xml::text_room room;
    const pkg_dbe_xml::text_piece text = pkg_dbe_xml::node_text(node, room);
    return {reinterpret_cast<const char *>(text.bytes), text.size};
}

std::string written(xmlNodePtr node) {
    pkg_dbe_xml::text_output output(INT_MAX);
    pkg_dbe_xml::write_node(node, output);
    return {output.c_str(), static_cast<std::size_t>(output.size())};
}

class rare_trees : public sql::session_test {
  protected:
    sql::handle document;
    xmlDocPtr tree = nullptr;
    xmlNodePtr root = nullptr;

    void parse(std::string_view text, int options = 0) {
        document = trees::parsed(text, options);
        tree = trees::document_of(document);
        root = xmlDocGetRootElement(tree);
    }
    [[nodiscard]] xmlNodePtr attribute() const { return as_node(root->properties); }
    [[nodiscard]] sql::handle named(xmlNodePtr node) const { return trees::named(document, node); }
    [[nodiscard]] sql::handle element(xmlNodePtr node) const {
        return trees::named(document, node, trees::XMLDomNodeType::element);
    }
};

// --- what members a node has ---------------------------------------------------------------------

TEST_F(rare_trees, members_are_read_where_the_type_has_them) {
    EXPECT_FALSE(pkg_dbe_xml::is_declaration(XML_DOCUMENT_FRAG_NODE));
    EXPECT_FALSE(pkg_dbe_xml::is_declaration(XML_HTML_DOCUMENT_NODE));
    EXPECT_TRUE(pkg_dbe_xml::is_declaration(XML_DTD_NODE));
    EXPECT_TRUE(pkg_dbe_xml::is_declaration(XML_NAMESPACE_DECL));
    EXPECT_FALSE(pkg_dbe_xml::is_declaration(XML_XINCLUDE_START));
    parse(samples::k_text);
    EXPECT_EQ(pkg_dbe_xml::declared_default(root), nullptr);
    for (const xmlNode *each = tree->intSubset->children; each != nullptr; each = each->next) {
        const xmlChar *const value = pkg_dbe_xml::declared_default(each);
        EXPECT_EQ(value != nullptr, each->type == XML_ATTRIBUTE_DECL);
    }
}

// A walk ends at the top of the tree, even when that is not where it was told to end.
TEST_F(rare_trees, a_walk_ends_with_its_tree) {
    parse("<a><b/></a>");
    xmlNodePtr const child = root->children;
    xml_node_ptr elsewhere(xmlNewDocNode(tree, nullptr, xml("e"), nullptr));
    EXPECT_EQ(pkg_dbe_xml::next_below(child, root), nullptr);
    EXPECT_EQ(pkg_dbe_xml::next_below(child, elsewhere.get()), nullptr);
}

TEST(scopes, one_in_a_thread_without_a_session_stands_behind_the_gate) {
    bool before = true;
    bool after = false;
    bool refused = true;
    std::thread([&] {
        before = host::gate.ready;
        const host::tree_scope scope;
        after = host::gate.ready;
        refused = scope.refused();
    }).join();
    EXPECT_FALSE(before);
    EXPECT_TRUE(after);
    EXPECT_FALSE(refused);
}

// --- values --------------------------------------------------------------------------------------

TEST_F(rare_trees, only_texts_below_an_attribute_are_its_value) {
    parse("<a k='first'/>");
    {
        const host::tree_scope scope;
        put_behind(attribute(), xmlNewDocComment(tree, xml("comment")));
        put_behind(attribute(), xmlNewDocPI(tree, xml("p"), xml("instruction")));
        put_behind(attribute(), xmlNewDocNode(tree, nullptr, xml("e"), xml("element")));
        put_behind(attribute(), xmlNewDocFragment(tree));
        put_behind(attribute(), xmlNewDocText(tree, nullptr));
        put_behind(attribute(), xmlNewReference(tree, xml("unknown")));
        put_behind(attribute(), xmlNewCDataBlock(tree, xml(" last"), 5));
    }
    EXPECT_EQ(text_of(attribute()), "first last");
    EXPECT_EQ(sql::call(xml_dom_get_node_value, named(attribute())).text(), "first last");
}

TEST_F(rare_trees, an_attribute_with_a_single_section_or_an_empty_text) {
    parse("<a k=''/>");
    const host::tree_scope scope;
    xmlNodePtr const section = xmlNewCDataBlock(tree, xml("section"), 7);
    xmlNodePtr const nothing = xmlNewDocText(tree, nullptr);
    xmlNodePtr const comment = xmlNewDocComment(tree, xml("comment"));
    xmlNodePtr const before = attribute()->children;
    for (const auto &[child, expected] :
         {std::pair{section, "section"}, {nothing, ""}, {comment, ""}}) {
        attribute()->children = child;
        attribute()->last = child;
        EXPECT_EQ(text_of(attribute()), expected);
        xmlFreeNode(child);
    }
    attribute()->children = before;
    attribute()->last = before;
}

TEST_F(rare_trees, references_to_entities_that_hold_odd_things) {
    parse("<!DOCTYPE a [<!ENTITY empty ''><!ENTITY e 'one<x>two</x><y/><!--c--><?p i?>'>"
          "<!ENTITY nested '<x><!--c--><?p i?>three</x>'>]>"
          "<a>&empty;<b/>&e;<b/>&nested;</a>");
    {
        const host::tree_scope scope;
        put_behind(root, xmlNewReference(tree, xml("unknown")));
    }
    std::vector<std::string> values;
    for (const xmlNode *node = root->children; node != nullptr; node = node->next) {
        if (node->type == XML_ENTITY_REF_NODE) {
            values.push_back(text_of(node));
        }
    }
    // Comments and instructions count on top of an entity, not within its elements.
    EXPECT_EQ(values, (std::vector<std::string>{"", "onetwoci", "three", ""}));

    // An element whose children belong to another is read as an empty one.
    xmlEntityPtr const entity = xmlGetDocEntity(tree, xml("e"));
    xmlNodePtr const inner = entity->children->next;
    ASSERT_EQ(inner->type, XML_ELEMENT_NODE);
    inner->children->parent = root;
    EXPECT_EQ(text_of(root->children->next->next), "oneci");
    inner->children->parent = inner;
}

// --- counting and search -------------------------------------------------------------------------

TEST_F(rare_trees, children_of_another_node_are_not_counted_or_found) {
    parse("<a><b><c/>text</b></a>");
    xmlNodePtr const b = root->children;
    EXPECT_EQ(pkg_dbe_xml::count_nodes(root), 4);
    b->children->parent = root;
    EXPECT_EQ(pkg_dbe_xml::count_nodes(root), 2);
    EXPECT_EQ(
        sql::call(xml_dom_get_length, made(xml_dom_get_elements_by_tagname_document, document, "c"))
            .integer(),
        0);
    b->children->parent = b;
}

// The walk comes to its end there; what it has seen counts.
TEST_F(rare_trees, a_last_child_without_a_parent_ends_the_counting) {
    parse("<a><b><c/><d/></b><e/></a>");
    xmlNodePtr const d = root->children->last;
    EXPECT_EQ(pkg_dbe_xml::count_nodes(root), 5);
    d->parent = nullptr;
    EXPECT_EQ(pkg_dbe_xml::count_nodes(root), 4);
    d->parent = root->children;
}

TEST_F(rare_trees, a_fragment_on_its_own_is_counted) {
    parse("<a/>");
    xml_node_ptr fragment(xmlNewDocFragment(tree));
    put_behind(fragment.get(), xmlNewDocNode(tree, nullptr, xml("b"), nullptr));
    EXPECT_EQ(pkg_dbe_xml::count_nodes(fragment.get()), 2);
    EXPECT_EQ(pkg_dbe_xml::count_nodes(fragment->children), 1);
}

TEST_F(rare_trees, a_name_that_is_missing_matches_nothing) {
    parse("<a xmlns:p='urn:p'><p:b/><b/></a>");
    const auto found = [this](const char *name, const char *uri) {
        const pkg_dbe_xml::xml_list_ptr list(xmlListCreate(nullptr, nullptr));
        EXPECT_TRUE(pkg_dbe_xml::search_node_by_name(root, name == nullptr ? nullptr : xml(name),
                                                     uri == nullptr ? nullptr : xml(uri),
                                                     list.get()));
        return xmlListSize(list.get());
    };
    EXPECT_EQ(found("b", nullptr), 2);
    EXPECT_EQ(found("b", "urn:p"), 1);
    EXPECT_EQ(found(nullptr, nullptr), 0);
    EXPECT_EQ(found(nullptr, "urn:p"), 0);
    // A namespace without a URI.
    const xmlChar *const uri = root->children->ns->href;
    root->children->ns->href = nullptr;
    EXPECT_EQ(found("b", "urn:p"), 0);
    EXPECT_EQ(found("b", "*"), 2);
    EXPECT_EQ(sql::call(xml_dom_get_length,
                        made(xml_dom_get_children_by_tagname_ns, element(root), "b", "urn:p"))
                  .integer(),
              0);
    root->children->ns->href = uri;
}

TEST_F(rare_trees, an_external_subset_is_seen_and_left_alone) {
    parse("<a/>");
    const int before = pkg_dbe_xml::count_nodes(as_node(tree));
    {
        const host::tree_scope scope;
        xmlDtdPtr const external = xmlNewDtd(tree, xml("a"), nullptr, xml("a.dtd"));
        ASSERT_EQ(tree->extSubset, external);
        EXPECT_FALSE(pkg_dbe_xml::is_immutable(root)); // nothing is declared yet
        xmlAddDtdEntity(tree, xml("e"), XML_INTERNAL_GENERAL_ENTITY, nullptr, nullptr, xml("x"));
    }
    xmlNodePtr const subset = as_node(static_cast<void *>(tree->extSubset));
    EXPECT_EQ(subset->parent, nullptr);
    EXPECT_GT(pkg_dbe_xml::count_nodes(as_node(tree)), before);
    // Its handle goes, the subset stays the document's.
    const sql::handle handle = named(subset);
    EXPECT_FALSE(sql::call(xml_dom_free_node, handle).failed());
    EXPECT_TRUE(sql::call(xml_dom_is_null, handle).boolean());
    EXPECT_EQ(tree->extSubset,
              as_node(static_cast<void *>(tree->extSubset)) == subset ? tree->extSubset : nullptr);
    EXPECT_TRUE(sql::check_invariants());
    // Where entities are declared, what stands in a declaration is looked for: the root does not.
    EXPECT_FALSE(pkg_dbe_xml::is_immutable(root));
    EXPECT_TRUE(pkg_dbe_xml::is_immutable(subset->children));
    EXPECT_FALSE(sql::call(xml_dom_set_attribute, element(root), "k", "v").failed());
    EXPECT_EQ(written(root), "<a k=\"v\"/>");
}

// --- changes -------------------------------------------------------------------------------------

TEST_F(rare_trees, the_value_of_an_attribute_replaces_whatever_stood_there) {
    const std::vector<std::function<void()>> odd_values{
        [] {}, [this] { put_behind(attribute(), xmlNewDocText(tree, xml("second"))); },
        [this] {
            xmlFreeNode(attribute()->children);
            attribute()->children = attribute()->last = nullptr;
            put_behind(attribute(), xmlNewReference(tree, xml("e")));
        },
        [this] {
            xmlFreeNode(attribute()->children);
            attribute()->children = attribute()->last = nullptr;
        },
        [this] { put_behind(attribute()->children, xmlNewDocText(tree, xml("below"))); }};
    for (const auto &make_odd : odd_values) {
        parse("<a k='first'/>");
        {
            const host::tree_scope scope;
            make_odd();
        }
        EXPECT_FALSE(sql::call(xml_dom_set_attribute, element(root), "k", "new").failed());
        EXPECT_EQ(written(root), "<a k=\"new\"/>");
        EXPECT_TRUE(sql::check_invariants());
        sql::call(xml_dom_free_document, document);
    }
}

// An attribute of type ID that has left its document.
TEST_F(rare_trees, an_identifier_without_a_document_is_forgotten) {
    parse("<a/>");
    pkg_dbe_xml::family &owner = pkg_dbe_xml::family_of(*trees::entry_of(document));
    const pkg_dbe_xml::text_bytes value{xml("v"), 1};
    xml_node_ptr loose = pkg_dbe_xml::new_attribute(nullptr, xml("k"), &value);
    auto *const identifier = reinterpret_cast<xmlAttrPtr>(loose.get());
    EXPECT_EQ(identifier->doc, nullptr);
    identifier->atype = XML_ATTRIBUTE_ID;
    pkg_dbe_xml::set_attribute_text(owner, identifier, {xml("w"), 1}, true);
    EXPECT_EQ(text_of(loose.get()), "w");
    pkg_dbe_xml::move_below(root, loose.release());
    EXPECT_EQ(identifier->doc, tree);
    EXPECT_EQ(written(root), "<a k=\"w\"/>");
}

TEST_F(rare_trees, an_attribute_takes_sections_and_references_and_nothing_above_others) {
    parse("<!DOCTYPE a [<!ENTITY e 'x'>]><a k='v'/>");
    const host::tree_scope scope;
    const xml_node_ptr section(xmlNewCDataBlock(tree, xml("s"), 1));
    const xml_node_ptr reference(xmlNewReference(tree, xml("e")));
    const xml_node_ptr text(xmlNewDocText(tree, xml("t")));
    for (const xml_node_ptr *child : {&section, &reference, &text}) {
        EXPECT_TRUE(pkg_dbe_xml::may_append(attribute(), child->get()));
    }
    put_behind(section.get(), xmlNewDocText(tree, xml("below")));
    EXPECT_FALSE(pkg_dbe_xml::may_append(attribute(), section.get()));
    const xml_node_ptr comment(xmlNewDocComment(tree, xml("c")));
    EXPECT_FALSE(pkg_dbe_xml::may_append(attribute(), comment.get()));
    EXPECT_FALSE(pkg_dbe_xml::may_append(attribute(), root));
}

TEST_F(rare_trees, nodes_of_an_imported_document_move_into_the_one_that_took_it) {
    parse("<a/>");
    const sql::handle other =
        trees::parsed("<!DOCTYPE b [<!ENTITY e 'entity'><!ATTLIST b id ID #IMPLIED>]>"
                      "<b id='i' k='x&e;y'>&e;<c l='&e;'/></b>");
    const sql::handle copy = made(xml_dom_import_node, document, other, true);
    xmlDocPtr const copied = trees::document_of(copy);
    ASSERT_NE(copied, tree);
    xmlNodePtr const source = xmlDocGetRootElement(copied);
    xmlAttrPtr const identifier = source->properties;
    xmlAttrPtr const with_reference = identifier->next;
    identifier->atype = XML_ATTRIBUTE_ID;
    // Attributes alone, then an element with all below it.
    for (xmlAttrPtr const each : {with_reference, identifier}) {
        const sql::handle moved = trees::named(copy, as_node(each));
        EXPECT_FALSE(sql::call(xml_dom_append_child, element(root), moved).failed());
        EXPECT_EQ(each->doc, tree);
        EXPECT_EQ(each->parent, root);
        for (const xmlNode *child = each->children; child != nullptr; child = child->next) {
            EXPECT_EQ(child->doc, tree);
        }
    }
    // The declaration stayed behind: a reference no longer points there.
    const xmlNode *const reference = with_reference->children->next;
    ASSERT_EQ(reference->type, XML_ENTITY_REF_NODE);
    EXPECT_EQ(reference->children, nullptr);
    EXPECT_FALSE(sql::call(xml_dom_append_child, named(root), trees::named(copy, source)).failed());
    ASSERT_EQ(source->children->type, XML_ENTITY_REF_NODE);
    EXPECT_EQ(source->children->doc, tree);
    EXPECT_EQ(source->children->children, nullptr);
    EXPECT_EQ(source->children->last, nullptr);
    EXPECT_EQ(written(root), "<a k=\"x&e;y\" id=\"i\">\n  <b>&e;<c l=\"&e;\"/></b>\n</a>");
    EXPECT_EQ(copied->children, copied->last); // only the document type is left there
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(rare_trees, an_attribute_of_an_element_of_an_entity_is_not_moved) {
    parse("<!DOCTYPE a [<!ENTITY e '<x k=\"1\"/>'>]><a k='2'>&e;</a>");
    xmlNodePtr const inner = xmlGetDocEntity(tree, xml("e"))->children;
    ASSERT_NE(inner, nullptr);
    const sql::handle fixed =
        trees::named(document, as_node(inner->properties), trees::XMLDomNodeType::attribute);
    EXPECT_REPORT(sql::call(xml_dom_set_attribute_node, element(root), fixed),
                  reports::not_allowed);
    EXPECT_TRUE(sql::call(xml_dom_remove_attribute_node, element(root), fixed).is_null());
    EXPECT_EQ(inner->properties->parent, inner);
}

TEST_F(rare_trees, texts_that_lie_in_their_nodes_are_replaced) {
    parse("<a>short</a>", XML_PARSE_COMPACT);
    xmlNodePtr const text = root->children;
    ASSERT_EQ(text->content, reinterpret_cast<xmlChar *>(&text->properties));
    const sql::handle handle = named(text);
    EXPECT_FALSE(sql::call(xml_dom_set_node_value, handle, "something longer").failed());
    EXPECT_EQ(written(root), "<a>something longer</a>");
    EXPECT_EQ(text->properties, nullptr);
    {
        const host::tree_scope scope; // a node that holds nothing at all
        xmlFree(text->content);
        text->content = nullptr;
    }
    EXPECT_FALSE(sql::call(xml_dom_set_node_value, handle, "again").failed());
    EXPECT_EQ(written(root), "<a>again</a>");
}

// libxml2 measures texts in int.
TEST_F(rare_trees, a_text_does_not_grow_beyond_what_libxml2_measures) {
    parse("<a>text</a>");
    xmlNodePtr const text = root->children;
    constexpr std::size_t k_size = INT_MAX - 10;
    text->psvi = reinterpret_cast<void *>(k_size); // what a long text remembers of itself
    const auto grow = [text](const char *added) {
        return sql::run_in_call([text, added] { pkg_dbe_xml::text_growth(text, xml(added)); });
    };
    EXPECT_FALSE(grow("1234567890").failed);
    EXPECT_FALSE(grow("").failed);
    const host::call_record refused = grow("1234567890+");
    EXPECT_TRUE(refused.failed);
    EXPECT_EQ(refused.report.id, reports::out_of_memory.id);
    text->psvi = nullptr;
    EXPECT_EQ(written(root), "<a>text</a>");
}

TEST_F(rare_trees, strings_of_the_dictionary_are_not_freed) {
    parse("<!DOCTYPE a SYSTEM 'old.dtd'><a/>");
    ASSERT_NE(tree->dict, nullptr);
    {
        const host::tree_scope scope;
        if (tree->encoding != nullptr && xmlDictOwns(tree->dict, tree->encoding) == 0) {
            xmlFree(const_cast<xmlChar *>(tree->encoding));
        }
        tree->encoding = const_cast<xmlChar *>(xmlDictLookup(tree->dict, xml("ISO-8859-1"), -1));
    }
    EXPECT_FALSE(sql::call(xml_dom_set_charset, document, "UTF-8").failed());
    EXPECT_STREQ(reinterpret_cast<const char *>(tree->encoding), "UTF-8");
    EXPECT_EQ(xmlDictOwns(tree->dict, tree->encoding), 0);
    EXPECT_FALSE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").failed());
    EXPECT_STREQ(reinterpret_cast<const char *>(tree->encoding), "ISO-8859-1");
}

// --- copies --------------------------------------------------------------------------------------

TEST_F(rare_trees, copies_of_odd_nodes) {
    parse("<a/>");
    {
        const host::tree_scope scope;
        xmlNodePtr const plain = xmlNewDocText(tree, xml("<&>"));
        plain->name = xmlStringTextNoenc; // to be written as it is
        put_behind(root, plain);
        put_behind(root, xmlNewCDataBlock(tree, nullptr, 0));
        put_behind(root, xmlNewDocComment(tree, nullptr));
        put_behind(root, xmlNewDocPI(tree, xml("p"), nullptr));
    }
    const sql::handle other = trees::parsed("<o/>");
    const sql::handle copy = made(xml_dom_import_node, other, named(root), true);
    xmlNodePtr const copied = trees::node_of(copy);
    EXPECT_EQ(written(copied), written(root));
    EXPECT_EQ(copied->children->name, xmlStringTextNoenc);
    EXPECT_NE(copied->children->next->type, XML_TEXT_NODE);
}

TEST_F(rare_trees, a_node_of_a_type_that_is_never_copied_is_reported) {
    parse("<a/>");
    xmlNode odd{};
    odd.type = XML_NOTATION_NODE;
    odd.doc = tree;
    const host::call_record outcome =
        sql::run_in_call([&] { static_cast<void>(pkg_dbe_xml::copy_node(tree, &odd, false)); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.report.id, reports::out_of_memory.id);
}

TEST_F(rare_trees, attributes_imported_alone_keep_their_prefixes_apart) {
    parse("<a/>");
    const sql::handle other =
        trees::parsed("<b xmlns:p='urn:one' xmlns:q='urn:one' xmlns:r='urn:two' "
                      "p:k='1' q:k2='2' r:k3='3' p:k4='4'/>");
    std::vector<xmlNsPtr> records;
    for (xmlAttrPtr each = xmlDocGetRootElement(trees::document_of(other))->properties;
         each != nullptr; each = each->next) {
        const sql::handle copy =
            made(xml_dom_import_node, document, trees::named(other, as_node(each)), true);
        records.push_back(trees::node_of(copy)->ns);
        EXPECT_STREQ(reinterpret_cast<const char *>(records.back()->prefix),
                     reinterpret_cast<const char *>(each->ns->prefix));
        EXPECT_STREQ(reinterpret_cast<const char *>(records.back()->href),
                     reinterpret_cast<const char *>(each->ns->href));
    }
    ASSERT_EQ(records.size(), 4U);
    EXPECT_NE(records[0], records[1]);
    EXPECT_NE(records[0], records[2]);
    EXPECT_EQ(records[0], records[3]);
}

// --- pictures ------------------------------------------------------------------------------------

TEST_F(rare_trees, a_picture_shows_no_empty_prefix) {
    parse("<p:a xmlns:p='u'/>");
    const auto name = [this] {
        const std::string picture = sql::call(xml_dom_outline, named(root)).text();
        return picture.substr(0, picture.find(' '));
    };
    EXPECT_EQ(name(), "p:a");
    const xmlChar *const prefix = root->nsDef->prefix;
    root->nsDef->prefix = xml("");
    EXPECT_EQ(name(), "a");
    root->nsDef->prefix = nullptr;
    EXPECT_EQ(name(), "a");
    root->nsDef->prefix = prefix;
}

TEST_F(rare_trees, a_picture_that_is_too_long_is_refused) {
    const std::int64_t margin = 0x3FFFFFFF - host::k_largest_piece;
    std::string children;
    for (std::int64_t i = 0; i < margin; ++i) {
        children += "<d/>";
    }
    parse("<a>" + children + "</a>");
    const sql::handle large = named(root);
    const std::string long_picture = sql::call(xml_dom_outline, large).text();
    const auto longest = static_cast<std::int64_t>(long_picture.size());
    ASSERT_GT(longest, margin + 1);
    standalone::set_piece_size(longest - margin);
    EXPECT_EQ(sql::call(xml_dom_outline, large).text(), long_picture);
    standalone::set_piece_size(longest - margin - 1);
    EXPECT_REPORT(sql::call(xml_dom_outline, large), reports::over_one_gigabyte);
    standalone::set_piece_size(0);
}

// --- arguments -----------------------------------------------------------------------------------

TEST_F(rare_trees, handles_and_names_that_are_stored_elsewhere) {
    parse("<a k='v'/>");
    const sql::handle handle = element(root);
    const std::string bytes(handle.bytes.begin(), handle.bytes.end());
    const sql::value stored = sql::value::of_datum(standalone::make_stored_text(bytes));
    const sql::value name = sql::value::of_datum(standalone::make_stored_text("k"));
    const sql::value long_name =
        sql::value::of_datum(standalone::make_stored_text(std::string(1000, 'k')));
    EXPECT_EQ(sql::call(xml_dom_get_attribute, stored, name).text(), "v");
    EXPECT_EQ(sql::call(xml_dom_get_attribute, handle, name).text(), "v");
    const sql::handle attribute = made(xml_dom_get_attribute_node, handle, "k");
    const std::string attribute_bytes(attribute.bytes.begin(), attribute.bytes.end());
    EXPECT_FALSE(sql::call(xml_dom_remove_attribute_node, stored,
                           sql::value::of_datum(standalone::make_stored_text(attribute_bytes)))
                     .is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, stored, name).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, handle, long_name).is_null());
}

// The first byte of its header is that of a handle's.
TEST_F(rare_trees, a_longer_value_that_begins_like_a_handle_is_none) {
    parse("<a/>");
    sql::raw longer{std::vector<std::uint8_t>(document.bytes.begin(), document.bytes.end())};
    longer.bytes.resize(13 + 64);
    EXPECT_REPORT(sql::call(xml_dom_get_document_element, longer), reports::handle_not_found);
    longer.bytes.resize(13);
    EXPECT_FALSE(sql::call(xml_dom_get_document_element, longer).failed());
}

} // namespace
