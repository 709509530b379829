// Appending: moves, merges, replaced attributes, what is refused.
#include "changing.hpp"

#include <libxml/parserInternals.h>

namespace {

using sql::call;

const sql::raw k_short_value{{1, 2, 3}};

sql::handle unknown() {
    sql::handle made{};
    made.bytes[0] = 77;
    made.bytes[12] = 1;
    return made;
}

class appending : public changing {
  protected:
    static sql::handle list_of(const sql::handle &element) {
        return call(xml_dom_get_child_nodes, element).handle();
    }
    static sql::handle map_of(const sql::handle &element) {
        return call(xml_dom_get_attributes, call(xml_dom_makenode, element).handle()).handle();
    }
    // A second handle of the same node.
    static sql::handle twin(const sql::handle &of) { return call(xml_dom_makenode, of).handle(); }
};

// --- the order of things ------------------------------------------------------------------------

TEST_F(appending, null_rules) {
    const sql::handle tree = empty_document();
    const sql::handle gone = element(tree, "a");
    const sql::handle other = element(tree, "b");
    call(xml_dom_free_node, gone);
    EXPECT_TRUE(call(xml_dom_append_child, sql::null, sql::null).is_null());
    EXPECT_TRUE(call(xml_dom_append_child, sql::null, other).is_null());
    EXPECT_REPORT(call(xml_dom_append_child, tree, sql::null), reports::null_child);
    EXPECT_REPORT(call(xml_dom_append_child, k_short_value, sql::null), reports::null_child);
    EXPECT_TRUE(call(xml_dom_append_child, gone, other).is_null());
    EXPECT_TRUE(call(xml_dom_append_child, tree, gone).is_null());
    EXPECT_TRUE(call(xml_dom_append_child, gone, gone).is_null());
}

TEST_F(appending, checks_in_order) {
    const sql::handle tree = document("<a x='1'><b/></a>");
    const sql::handle top = root(tree);
    EXPECT_REPORT(call(xml_dom_append_child, k_short_value, top), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_append_child, top, k_short_value), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_append_child, unknown(), top), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_append_child, top, unknown()), reports::handle_not_found);
    const sql::handle gone = element(tree, "gone");
    call(xml_dom_free_node, gone);
    EXPECT_REPORT(call(xml_dom_append_child, gone, unknown()), reports::handle_not_found);
    const sql::handle foreign = document("<f/>");
    EXPECT_REPORT(call(xml_dom_append_child, top, root(foreign)), reports::other_document);
    EXPECT_REPORT(call(xml_dom_append_child, top, foreign), reports::other_document);
    EXPECT_REPORT(call(xml_dom_append_child, top, top), reports::not_allowed);
    EXPECT_REPORT(call(xml_dom_append_child, tree, tree), reports::not_allowed);
}

TEST_F(appending, lists_and_maps_are_no_nodes) {
    const sql::handle tree = document("<a x='1'><b/></a>");
    const sql::handle top = root(tree);
    const sql::handle made = element(tree, "c");
    const sql::handle list = list_of(top);
    const sql::handle map = map_of(top);
    for (const sql::handle &wrong : {list, map}) {
        EXPECT_REPORT(call(xml_dom_append_child, wrong, made), reports::inconsistent_types);
        EXPECT_REPORT(call(xml_dom_append_child, made, wrong), reports::inconsistent_types);
        const sql::handle gone = element(tree, "gone");
        call(xml_dom_free_node, gone);
        EXPECT_TRUE(call(xml_dom_append_child, wrong, gone).is_null());
    }
    call(xml_dom_free_nodelist, list);
    EXPECT_TRUE(call(xml_dom_append_child, list, made).is_null());
}

TEST_F(appending, a_document_gives_a_handle_of_nothing) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    const sql::handle result = append(top, tree);
    EXPECT_EQ(result.document_id(), tree.document_id());
    EXPECT_EQ(result.serial(), tree.serial());
    EXPECT_EQ(entry(result)->kind, pkg_dbe_xml::XMLDomNodeType::node);
    EXPECT_TRUE(is_null(result));
    EXPECT_TRUE(call(xml_dom_get_first_child, result).is_null());
    EXPECT_TRUE(is_null(append(tree, twin(tree)))); // two handles of one document
    EXPECT_EQ(written_root(tree), "<a/>");
}

// --- moving -------------------------------------------------------------------------------------

TEST_F(appending, puts_a_node_behind_the_last_child) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    const sql::handle made = element(tree, "c");
    const sql::handle result = append(top, made);
    EXPECT_NE(result, made);
    EXPECT_EQ(node(result), node(made));
    EXPECT_EQ(entry(result)->kind, pkg_dbe_xml::XMLDomNodeType::node);
    EXPECT_EQ(written(top), "<a><b/><c/></a>");
    EXPECT_EQ(node(made)->parent, node(top));
    EXPECT_EQ(node(made)->prev, node(first(top)));
    EXPECT_EQ(node(top)->last, node(made));
}

TEST_F(appending, moves_a_node_that_stands_elsewhere) {
    const sql::handle tree = document("<a><b><c/></b><d/></a>");
    const sql::handle top = root(tree);
    const sql::handle moved = first(first(top));
    append(last(top), moved);
    EXPECT_EQ(written(top), "<a><b/><d><c/></d></a>");
    append(top, moved);
    EXPECT_EQ(written(top), "<a><b/><d/><c/></a>");
    append(top, first(top)); // its own parent: it goes to the end
    EXPECT_EQ(written(top), "<a><d/><c/><b/></a>");
    append(top, last(top));
    EXPECT_EQ(written(top), "<a><d/><c/><b/></a>");
}

TEST_F(appending, builds_a_document_from_nothing) {
    const sql::handle tree = empty_document();
    const sql::handle top = element(tree, "order");
    append(tree, top);
    const sql::handle item = element(tree, "item");
    append(top, item);
    append(item, text(tree, "pencil & paper"));
    append(item, attribute(tree, "sku", "A1"));
    EXPECT_EQ(written_root(tree), "<order><item sku=\"A1\">pencil &amp; paper</item></order>");
    EXPECT_EQ(node(root(tree)), node(top));
}

TEST_F(appending, everything_but_elements_and_documents_can_still_be_a_parent) {
    const sql::handle tree = document("<a><!--c--><?p i?><![CDATA[d]]></a>");
    const sql::handle top = root(tree);
    sql::handle parent = first(top);
    for (int step = 0; step < 3; ++step) {
        const sql::handle made = element(tree, "below");
        EXPECT_EQ(node(append(parent, made))->parent, node(parent));
        if (step < 2) {
            parent = next(parent);
        }
    }
    EXPECT_EQ(written(top), "<a><!--c--><?p i?><![CDATA[d]]></a>");
    const sql::handle bare = call(xml_dom_create_text_node, tree, sql::null).handle();
    const sql::handle made = element(tree, "below");
    EXPECT_EQ(node(append(bare, made)), node(made));
    EXPECT_EQ(node(made)->parent, node(bare));
}

// --- merging ------------------------------------------------------------------------------------

TEST_F(appending, text_behind_text_merges) {
    const sql::handle tree = document("<a>one</a>");
    const sql::handle top = root(tree);
    const sql::handle added = text(tree, " two");
    const sql::handle second = call(xml_dom_makenode, added).handle();
    const sql::handle result = append(top, added);
    EXPECT_EQ(node(result), node(first(top)));
    EXPECT_EQ(value(result), "one two");
    EXPECT_EQ(node(top)->children, node(top)->last);
    EXPECT_REPORT(call(xml_dom_get_node_value, added), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_get_node_value, second), reports::handle_not_found);
}

TEST_F(appending, node_ids_of_a_merged_text_are_not_handed_out_again) {
    const sql::handle tree = document("<a>one</a>");
    const sql::handle top = root(tree);
    const sql::handle added = text(tree, "two");
    const sql::handle result = append(top, added);
    EXPECT_EQ(result.node_id(), added.node_id() + 1);
    EXPECT_EQ(element(tree, "b").node_id(), added.node_id() + 2);
}

TEST_F(appending, the_last_text_behind_another_text_merges) {
    const sql::handle tree = document("<a>one<b/>two</a>");
    const sql::handle top = root(tree);
    const sql::handle text_one = first(top);
    const sql::handle text_two = last(top);
    const sql::handle aside = element(tree, "aside");
    append(aside, next(text_one)); // now the two texts are neighbours
    const sql::handle result = append(top, text_two);
    EXPECT_EQ(node(result), node(text_one));
    EXPECT_EQ(value(text_one), "onetwo");
    EXPECT_FALSE(is_known(text_two));
    EXPECT_EQ(written(top), "<a>onetwo</a>");
}

TEST_F(appending, the_only_text_again_does_not_merge_with_itself) {
    const sql::handle tree = document("<a>one</a>");
    const sql::handle top = root(tree);
    const sql::handle only = first(top);
    EXPECT_EQ(node(append(top, only)), node(only));
    EXPECT_EQ(written(top), "<a>one</a>");
}

TEST_F(appending, a_text_with_content_takes_up_whatever_is_appended_to_it) {
    const sql::handle tree = document("<a>one<!-- comment--><?p  target?><b>inner</b></a>");
    const sql::handle top = root(tree);
    const sql::handle target = first(top);
    const sql::handle comment = next(target);
    const sql::handle instruction = next(comment);
    const sql::handle inner = next(instruction);
    const sql::handle below = first(inner);
    EXPECT_EQ(node(append(target, comment)), node(target));
    append(target, instruction);
    append(target, text(tree, " more"));
    EXPECT_EQ(value(target), "one commenttarget more");
    append(target, inner); // an element has no content of its own
    EXPECT_EQ(written(top), "<a>one commenttarget more</a>");
    for (const sql::handle &consumed : {comment, instruction, inner}) {
        EXPECT_FALSE(is_known(consumed));
    }
    EXPECT_EQ(value(below), "inner"); // still named, out of the tree
    EXPECT_EQ(name(call(xml_dom_get_parent_node, below).handle()), "b");
}

TEST_F(appending, a_text_in_an_attribute_takes_up_text) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    append(held, text(tree, "2"));
    EXPECT_EQ(written_root(tree), "<a x=\"12\"/>");
    append(call(xml_dom_get_first_child, held).handle(), text(tree, "3"));
    EXPECT_EQ(written_root(tree), "<a x=\"123\"/>");
    const sql::handle empty = call(xml_dom_create_attribute, tree, "y").handle();
    append(empty, text(tree, "z"));
    EXPECT_EQ(value(empty), "z");
}

TEST_F(appending, long_texts_grow_piece_by_piece) {
    const sql::handle tree = document("<a>0</a>");
    const sql::handle top = root(tree);
    std::string expected = "0";
    for (int round = 0; round < 200; ++round) {
        const std::string piece(static_cast<std::size_t>(round) * 10, 'x');
        append(top, text(tree, piece));
        expected += piece;
    }
    EXPECT_EQ(value(first(top)), expected);
}

TEST_F(appending, long_texts_are_set_and_grow_again) {
    const sql::handle tree = document("<a>0</a>");
    const sql::handle top = root(tree);
    for (const std::size_t set_to :
         {0UL, 1UL, 5000UL, 4095UL, 4096UL, 4097UL, 8191UL, 8192UL, 3UL}) {
        std::string expected(set_to, 's');
        call(xml_dom_set_node_value, first(top), expected);
        for (const std::size_t piece : {1UL, 4096UL, 1UL, 0UL, 4095UL, 30000UL, 2UL}) {
            append(top, text(tree, std::string(piece, 'p')));
            expected.append(piece, 'p');
            EXPECT_EQ(value(first(top)), expected);
        }
    }
    append(element(tree, "aside"), first(top));
    EXPECT_EQ(written(top), "<a/>");
}

TEST_F(appending, texts_that_are_not_escaped_do_not_merge_with_others) {
    const sql::handle tree = document("<a>one</a>");
    const sql::handle top = root(tree);
    const sql::handle plain = text(tree, "two");
    node(plain)->name = xmlStringTextNoenc;
    EXPECT_EQ(node(append(top, plain)), node(plain));
    EXPECT_EQ(node(plain)->prev, node(first(top)));
}

// --- attributes ---------------------------------------------------------------------------------

TEST_F(appending, an_attribute_replaces_one_of_its_name) {
    const sql::handle tree = document("<a x='1' y='2'/>");
    const sql::handle top = root(tree);
    const sql::handle old = attribute_of(top, "x");
    const sql::handle old_again = attribute_of(top, "x");
    const sql::handle map = map_of(top); // names the first attribute
    const sql::handle other = attribute_of(top, "y");
    const sql::handle made = attribute(tree, "x", "3");
    EXPECT_EQ(node(append(top, made)), node(made));
    EXPECT_EQ(written(top), "<a y=\"2\" x=\"3\"/>");
    for (const sql::handle &dropped : {old, old_again, map}) {
        EXPECT_FALSE(is_known(dropped));
    }
    EXPECT_EQ(value(other), "2");
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(appending, an_attribute_replaces_only_in_its_namespace) {
    const sql::handle tree = document("<a xmlns:p='urn:p' x='1' p:x='2'><b p:x='3'/></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = call(xml_dom_make_element, first(top)).handle();
    append(top, attribute(tree, "x", "4"));
    EXPECT_EQ(written(top), "<a xmlns:p=\"urn:p\" p:x=\"2\" x=\"4\"><b p:x=\"3\"/></a>");
    append(top, call(xml_dom_get_attribute_node, inner, "x", "urn:p").handle());
    EXPECT_EQ(written(top), "<a xmlns:p=\"urn:p\" x=\"4\" p:x=\"3\"><b/></a>");
}

TEST_F(appending, an_attribute_again_goes_to_the_end) {
    const sql::handle tree = document("<a x='1' y='2'/>");
    const sql::handle top = root(tree);
    const sql::handle held = attribute_of(top, "x");
    append(top, held);
    EXPECT_EQ(written(top), "<a y=\"2\" x=\"1\"/>");
    EXPECT_TRUE(is_known(held));
}

TEST_F(appending, an_attribute_beside_a_default_replaces_nothing) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a x CDATA 'default' y CDATA 'd'>]>"
                 "<a/>");
    const sql::handle bare = element(tree, "a");
    append(bare, attribute(tree, "z", "1"));
    append(bare, attribute(tree, "x", "own"));
    EXPECT_EQ(written(bare), "<a z=\"1\" x=\"own\"/>");
    EXPECT_EQ(call(xml_dom_get_attribute, element(tree, "a"), "x").text(), "default");
}

// --- what is refused ----------------------------------------------------------------------------

TEST_F(appending, refusals_change_nothing) {
    const sql::handle tree = document("<a x='1'>t<b><c/></b></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = next(first(top));
    const sql::handle innermost = first(inner);
    const sql::handle held = attribute_of(top, "x");
    const auto refused = [](const sql::handle &parent, const sql::handle &child) {
        return call(xml_dom_append_child, parent, child);
    };
    EXPECT_REPORT(refused(top, twin(top)), reports::not_allowed);   // one node twice
    EXPECT_REPORT(refused(tree, held), reports::not_allowed);       // attribute of a document
    EXPECT_REPORT(refused(first(top), held), reports::not_allowed); // of a text
    EXPECT_REPORT(refused(held, attribute_of(top, "x")), reports::not_allowed);
    EXPECT_REPORT(refused(inner, top), reports::not_allowed); // below itself
    EXPECT_REPORT(refused(innermost, top), reports::not_allowed);
    EXPECT_REPORT(refused(innermost, inner), reports::not_allowed);
    EXPECT_REPORT(refused(held, element(tree, "e")), reports::not_allowed); // in an attribute
    EXPECT_EQ(written(top), "<a x=\"1\">t<b><c/></b></a>");
}

TEST_F(appending, document_types_and_declarations_stay_where_they_are) {
    const sql::handle tree = document("<!DOCTYPE a [<!ELEMENT a ANY><!ENTITY e 'in<b/>side'>"
                                      "<!ATTLIST a x CDATA 'd'>]><a>&e;</a>");
    const sql::handle top = root(tree);
    const xmlDocPtr raw_tree = reinterpret_cast<xmlDocPtr>(node(tree));
    const sql::handle made = element(tree, "new");
    std::size_t declarations = 0;
    for (xmlNodePtr declaration = reinterpret_cast<xmlNodePtr>(raw_tree->intSubset);
         declaration != nullptr;
         declaration = declaration->type == XML_DTD_NODE ? declaration->children
                                                         : declaration->next) {
        const sql::handle held = [&] {
            const host::datum value = pkg_dbe_xml::mint_handle<pkg_dbe_xml::XMLDomNodeType::node>(
                *entry(tree), declaration);
            sql::result result;
            result.datum_ = value;
            return result.handle();
        }();
        ++declarations;
        EXPECT_REPORT(call(xml_dom_append_child, top, held), reports::not_allowed);
        EXPECT_REPORT(call(xml_dom_append_child, held, made), reports::not_allowed);
        if (declaration->children != nullptr && declaration->type == XML_ENTITY_DECL) {
            const sql::handle content = first(held);
            EXPECT_REPORT(call(xml_dom_append_child, top, content), reports::not_allowed);
            EXPECT_REPORT(call(xml_dom_append_child, content, made), reports::not_allowed);
        }
    }
    EXPECT_EQ(declarations, 4U);
    EXPECT_EQ(written(top), "<a>in<b/>side</a>");
}

} // namespace
