// Orders of calls that the obvious use of libxml2 does not survive. Each test crashes, reads freed
// memory or frees twice (so AddressSanitizer shows) when its remedy is taken out; without a
// sanitizer the values that are read back tell.
#include "changing.hpp"

#include "standalone_faults.hpp"
#include "support/large_sizes.hpp"

namespace {

using sql::call;

class memory_safety : public changing {
  protected:
    static sql::handle list_of(const sql::handle &element) {
        return call(xml_dom_get_child_nodes, element).handle();
    }
    static sql::handle map_of(const sql::handle &element) {
        return call(xml_dom_get_attributes, call(xml_dom_makenode, element).handle()).handle();
    }
    static sql::handle item(const sql::handle &collection, int index) {
        return call(xml_dom_item, collection, index).handle();
    }
    // A handle of a node that no function hands out: a declaration, say.
    static sql::handle name_node(const sql::handle &document, void *node) {
        sql::result held;
        held.datum_ =
            pkg_dbe_xml::mint_handle<pkg_dbe_xml::XMLDomNodeType::node>(*entry(document), node);
        return held.handle();
    }
    // A document of that many levels, <a><a>...</a></a>, built call by call; gives its lowest one.
    static sql::handle build_levels(const sql::handle &tree, int levels) {
        sql::handle parent = tree;
        for (int level = 0; level < levels; ++level) {
            const sql::handle child = element(tree, "a");
            call(xml_dom_free_node, append(parent, child));
            if (level > 0) {
                call(xml_dom_free_node, parent);
            }
            parent = child;
            host::standalone::reset_caller_context();
        }
        return parent;
    }
    static xmlNodePtr lowest(xmlNodePtr node) {
        while (node->children != nullptr) {
            node = node->children;
        }
        return node;
    }
};

// --- texts that merge ---------------------------------------------------------------------------

TEST_F(memory_safety, merged_text_in_a_list) {
    const sql::handle tree = document("<a>one<b/>two</a>");
    const sql::handle top = root(tree);
    const sql::handle list = list_of(top);
    append(element(tree, "aside"), item(list, 1));
    append(top, item(list, 2));
    const sql::handle consumed = item(list, 2); // read from the list after the merge
    EXPECT_EQ(value(consumed), "two");
    EXPECT_EQ(value(item(list, 0)), "onetwo");
    EXPECT_TRUE(call(xml_dom_get_parent_node, consumed).is_null());
    append(top, item(list, 1));
    append(top, consumed); // and it can be used again
    EXPECT_EQ(written(top), "<a>onetwo<b/>two</a>");
}

TEST_F(memory_safety, merged_element_with_named_nodes_below) {
    const sql::handle tree = document("<a>text<b x='1'><c><d>deep</d></c></b></a>");
    const sql::handle top = root(tree);
    const sql::handle consumed = next(first(top));
    const sql::handle inner = first(consumed);
    const sql::handle deep = first(first(inner));
    const sql::handle list = list_of(inner);
    const sql::handle map = map_of(call(xml_dom_make_element, consumed).handle());
    append(first(top), consumed);
    EXPECT_EQ(written(top), "<a>text</a>");
    EXPECT_EQ(value(deep), "deep");
    EXPECT_EQ(name(item(list, 0)), "d");
    EXPECT_EQ(call(xml_dom_get_length, map).integer(), 1);
    append(top, inner); // out of the consumed element, back into the tree
    EXPECT_EQ(written(top), "<a>text<c><d>deep</d></c></a>");
}

TEST_F(memory_safety, merged_element_that_declares_a_namespace_used_elsewhere) {
    const sql::handle tree = document("<a>text<b xmlns:p='urn:p'><p:c p:x='1'/></b></a>");
    const sql::handle top = root(tree);
    const sql::handle declaring = next(first(top));
    const sql::handle user = first(declaring);
    append(top, user);
    append(first(top), declaring); // nobody names it any more
    call(xml_dom_free_node, declaring);
    EXPECT_EQ(written(top), "<a>text<p:c p:x=\"1\"/></a>");
    EXPECT_EQ(
        call(xml_dom_get_attribute_ns, call(xml_dom_make_element, user).handle(), "x", "urn:p")
            .text(),
        "1");
}

TEST_F(memory_safety, moved_out_of_a_copy_that_declares_its_namespace) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    const sql::handle from = root(document("<p:b xmlns:p='urn:p'><q><p:c p:x='1'/></q></p:b>"));
    const sql::handle copy = import(tree, from, true);
    const sql::handle above = first(copy);
    const sql::handle user = first(above);
    append(top, user);
    const std::int64_t before = libxml2_bytes();
    call(xml_dom_free_node, above);
    call(xml_dom_free_node, copy);
    EXPECT_LT(libxml2_bytes(), before); // nobody names it; its declaration is in use
    EXPECT_EQ(detached(tree), 0U);
    EXPECT_EQ(written(top), "<a><p:c p:x=\"1\"/></a>");
    EXPECT_EQ(
        call(xml_dom_get_attribute_ns, call(xml_dom_make_element, user).handle(), "x", "urn:p")
            .text(),
        "1");
}

TEST_F(memory_safety, consumed_in_a_copy_that_declares_its_namespace) {
    const sql::handle tree = document("<a/>");
    const sql::handle from =
        root(document("<p:b xmlns:p='urn:p'>text<p:c><p:d p:x='1'/></p:c></p:b>"));
    const sql::handle copy = import(tree, from, true);
    const sql::handle text_node = first(copy);
    const sql::handle consumed = next(text_node);
    const sql::handle user = first(consumed);
    call(xml_dom_free_node, append(text_node, consumed)); // kept for the one below it
    call(xml_dom_free_node, text_node);
    call(xml_dom_free_node, copy);
    EXPECT_EQ(written(user), "<p:d p:x=\"1\"/>");
    append(root(tree), user);
    EXPECT_EQ(written(root(tree)), "<a><p:d p:x=\"1\"/></a>");
}

TEST_F(memory_safety, attribute_that_leaves_the_element_whose_namespace_it_uses) {
    const sql::handle tree = document("<a/>");
    const sql::handle from = root(document("<p:b xmlns:p='urn:p' x='0' p:x='1'/>"));
    const sql::handle imported = import(tree, from, false);
    const sql::handle copy = call(xml_dom_make_element, imported).handle();
    const sql::handle attribute = call(xml_dom_get_attribute_node, copy, "x", "urn:p").handle();
    const sql::handle result = call(xml_dom_remove_attribute_node, copy, attribute).handle();
    EXPECT_EQ(value(result), "1");
    call(xml_dom_free_node, imported);
    call(xml_dom_free_element, copy);
    EXPECT_EQ(detached(tree), 2U); // the attribute, and what taking it off has given
    const sql::handle taker = element(tree, "taker");
    append(taker, attribute);
    EXPECT_EQ(written(taker), "<taker p:x=\"1\"/>");
}

TEST_F(memory_safety, text_below_a_text_without_content) {
    const sql::handle tree = document("<a/>");
    const sql::handle bare = call(xml_dom_create_text_node, tree, sql::null).handle();
    const sql::handle below = element(tree, "below");
    append(bare, below);
    const sql::handle inner = text(tree, "inner");
    append(below, inner);
    call(xml_dom_set_node_value, bare, "content"); // gives it content, and takes its children
    EXPECT_EQ(value(inner), "inner");
    EXPECT_EQ(name(below), "below");
    EXPECT_TRUE(call(xml_dom_get_parent_node, below).is_null());
    append(bare, below); // merges now
    EXPECT_EQ(value(inner), "inner");
}

TEST_F(memory_safety, two_texts_in_turn) {
    const sql::handle tree = document("<a>one<b/>two<c/>three</a>");
    const sql::handle top = root(tree);
    const sql::handle list = list_of(top);
    append(element(tree, "aside"), item(list, 1));
    append(element(tree, "aside"), item(list, 3));
    append(top, item(list, 2)); // three is last: merges into it
    EXPECT_EQ(value(item(list, 4)), "threetwo");
    append(top, item(list, 4)); // merges into one
    EXPECT_EQ(value(item(list, 0)), "onethreetwo");
    EXPECT_EQ(value(item(list, 4)), "threetwo");
    EXPECT_EQ(value(item(list, 2)), "two");
}

// --- attributes that are replaced or change their value
// --------------------------------------------

TEST_F(memory_safety, text_of_an_attribute_reached_through_a_map) {
    const sql::handle tree = document("<a x='old'/>");
    const sql::handle top = root(tree);
    const sql::handle old_text = item(map_of(top), 0);
    call(xml_dom_set_attribute, top, "x", "new");
    EXPECT_EQ(value(old_text), "old");
    EXPECT_TRUE(call(xml_dom_get_parent_node, old_text).is_null());
    const sql::handle new_text = item(map_of(top), 0);
    EXPECT_EQ(value(new_text), "new");
    call(xml_dom_set_node_value, attribute_of(top, "x"), "newest");
    EXPECT_EQ(value(new_text), "new");
    call(xml_dom_set_node_value, old_text, "still writable");
    EXPECT_EQ(value(old_text), "still writable");
    EXPECT_EQ(written(top), "<a x=\"newest\"/>");
    append(top, old_text);
    EXPECT_EQ(written(top), "<a x=\"newest\">still writable</a>");
}

TEST_F(memory_safety, text_of_an_attribute_in_a_list) {
    const sql::handle tree = document("<a x='old'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    const sql::handle list = call(xml_dom_get_child_nodes, held).handle();
    ASSERT_EQ(call(xml_dom_get_length, list).integer(), 1);
    call(xml_dom_set_attribute_ns, root(tree), "x", "other", "urn:x");
    call(xml_dom_set_node_value, held, "new");
    call(xml_dom_set_attribute, root(tree), "x", "newest");
    EXPECT_EQ(value(item(list, 0)), "old");
}

TEST_F(memory_safety, attribute_replaced_by_append) {
    const sql::handle tree = document("<a x='old' y='2'/>");
    const sql::handle top = root(tree);
    const sql::handle map = map_of(top); // goes: its first attribute is replaced
    const sql::handle text_of_old = item(map, 0);
    append(top, attribute(tree, "x", "new"));
    EXPECT_REPORT(call(xml_dom_get_length, map), reports::handle_not_found);
    EXPECT_EQ(value(text_of_old), "old");
    EXPECT_EQ(name(sql::call(xml_dom_makenode, attribute_of(top, "x")).handle()), "x");
    EXPECT_EQ(value(attribute_of(top, "x")), "new");
}

TEST_F(memory_safety, attribute_replaced_by_an_attribute_node) {
    const sql::handle tree = document("<a x='old'/>");
    const sql::handle top = root(tree);
    const sql::handle map = map_of(top);
    const sql::handle old = attribute_of(top, "x");
    const sql::handle made = attribute(tree, "x", "new");
    call(xml_dom_set_attribute_node, top, made);
    EXPECT_EQ(value(old), "old");
    EXPECT_EQ(value(item(map, 0)), "old");
    call(xml_dom_set_attribute_node, top, old); // and back
    EXPECT_EQ(written(top), "<a x=\"old\"/>");
    EXPECT_EQ(value(made), "new");
}

TEST_F(memory_safety, attribute_node_in_two_places) {
    const sql::handle tree = document("<a x='1'><b x='2'/><b x='3'/></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = call(xml_dom_make_element, first(top)).handle();
    const sql::handle other = call(xml_dom_make_element, last(top)).handle();
    const sql::handle held = attribute_of(inner, "x");
    for (const sql::handle &element : {top, other, top, other}) {
        call(xml_dom_set_attribute_node, element, held);
    }
    EXPECT_EQ(written(top), "<a><b/><b x=\"2\"/></a>");
}

TEST_F(memory_safety, attribute_of_another_document) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle foreign = document("<f x='2'/>");
    const sql::handle held = attribute_of(root(foreign), "x");
    EXPECT_REPORT(call(xml_dom_set_attribute_node, root(tree), held), reports::not_allowed);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, root(tree), held).is_null());
    call(xml_dom_free_document, foreign);
    EXPECT_EQ(written_root(tree), "<a x=\"1\"/>");
}

TEST_F(memory_safety, element_given_as_an_attribute) {
    const sql::handle tree = document("<a b='1'><b>text</b></a>");
    const sql::handle inner = first(root(tree));
    EXPECT_REPORT(call(xml_dom_set_attribute_node, root(tree), inner), reports::not_allowed);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, root(tree), inner).is_null());
    EXPECT_EQ(written_root(tree), "<a b=\"1\"><b>text</b></a>");
}

TEST_F(memory_safety, declared_default_given_as_an_attribute) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a x CDATA 'd'>]><a/>");
    const sql::handle top = element(tree, "a");
    append(root(tree), top);
    const sql::handle declaration = attribute_of(top, "x");
    ASSERT_EQ(node(declaration)->type, XML_ATTRIBUTE_DECL);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, declaration), reports::not_allowed);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top, declaration).is_null());
    EXPECT_REPORT(call(xml_dom_append_child, top, declaration), reports::not_allowed);
    EXPECT_REPORT(call(xml_dom_set_node_value, declaration, "v"), reports::no_modification);
    call(xml_dom_free_node, declaration);
    EXPECT_EQ(call(xml_dom_get_attribute, top, "x").text(), "d");
}

TEST_F(memory_safety, attribute_of_type_id_replaced_and_released) {
    const sql::handle tree = document(
        "<!DOCTYPE a [<!ELEMENT a (b*)><!ATTLIST b id ID #IMPLIED>]><a><b id='i'/><b id='j'/></a>");
    const sql::handle one = call(xml_dom_make_element, first(root(tree))).handle();
    for (int round = 0; round < 3; ++round) {
        call(xml_dom_set_attribute, one, "id", "k" + std::to_string(round));
        append(one, attribute(tree, "id", "i"));
        const sql::handle held = attribute_of(one, "id");
        call(xml_dom_free_node, call(xml_dom_remove_attribute_node, one, held).handle());
        call(xml_dom_free_node, held);
        call(xml_dom_set_attribute, one, "id", "i");
    }
    EXPECT_EQ(written_root(tree), "<a><b id=\"i\"/><b id=\"j\"/></a>");
}

TEST_F(memory_safety, nothing_nests_through_attributes) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    const sql::handle text_inside = call(xml_dom_get_first_child, held).handle();
    const sql::handle made = element(tree, "e");
    EXPECT_REPORT(call(xml_dom_append_child, held, made), reports::not_allowed);
    const sql::handle bare = call(xml_dom_create_text_node, tree, sql::null).handle();
    append(bare, made);
    EXPECT_REPORT(call(xml_dom_append_child, held, bare), reports::not_allowed);
    // The element that carries the attribute would be consumed by its own value.
    EXPECT_REPORT(call(xml_dom_append_child, text_inside, root(tree)), reports::not_allowed);
    const sql::handle second = call(xml_dom_create_attribute, tree, "y").handle();
    const sql::handle inside = call(xml_dom_create_text_node, tree, sql::null).handle();
    append(second, inside);
    EXPECT_REPORT(call(xml_dom_append_child, inside, element(tree, "f")), reports::not_allowed);
    EXPECT_EQ(written_root(tree), "<a x=\"1\"/>");
}

// --- values -------------------------------------------------------------------------------------

TEST_F(memory_safety, value_with_references_to_itself) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ENTITY e 'x'><!ENTITY f '&e;&e;&e;&e;&e;&e;&e;&e;'>]><a x='1'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    call(xml_dom_set_node_value, held, "&f;&f;&e;&x;");
    EXPECT_EQ(node(held)->children->type, XML_TEXT_NODE);
    EXPECT_EQ(value(held), "&f;&f;&e;&x;");
}

TEST_F(memory_safety, value_of_an_entity_reference) {
    const sql::handle tree = document("<!DOCTYPE a [<!ENTITY e 'text'>]><a/>");
    xmlNodePtr reference = nullptr;
    {
        const host::tree_scope scope;
        reference = xmlNewReference(reinterpret_cast<xmlDocPtr>(node(tree)),
                                    reinterpret_cast<const xmlChar *>("e"));
    }
    const sql::handle held = name_node(tree, reference);
    EXPECT_REPORT(call(xml_dom_set_node_value, held, "v"), reports::no_modification);
    EXPECT_REPORT(call(xml_dom_append_child, held, text(tree, "t")), reports::not_allowed);
    append(root(tree), held);
    EXPECT_EQ(written_root(tree), "<a>&e;</a>");
    const sql::handle copy = import(tree, root(tree), true);
    EXPECT_EQ(written(copy), "<a>&e;</a>");
    const sql::handle other = import(document("<r/>"), root(tree), true);
    call(xml_dom_free_document, tree); // the other document knows no such entity
    EXPECT_EQ(node(first(other))->children, nullptr);
    EXPECT_EQ(written(other), "<a>&e;</a>");
}

// --- documents and families
// -----------------------------------------------------------------------

TEST_F(memory_safety, document_released_while_everything_is_named) {
    const sql::handle tree = document("<a x='1'>t<b/></a>");
    const sql::handle top = root(tree);
    const std::vector<sql::handle> held{top,
                                        first(top),
                                        attribute_of(top, "x"),
                                        item(map_of(top), 0),
                                        element(tree, "detached"),
                                        call(xml_dom_makenode, tree).handle()};
    const sql::handle list = list_of(top);
    call(xml_dom_free_element, tree); // whatever the function is called
    for (const sql::handle &gone : held) {
        EXPECT_TRUE(is_null(gone));
        EXPECT_REPORT(call(xml_dom_set_node_value, gone, "v"), reports::invalid_node_handle);
        EXPECT_TRUE(call(xml_dom_append_child, gone, top).is_null());
        EXPECT_FALSE(call(xml_dom_free_node, gone).failed());
    }
    EXPECT_TRUE(call(xml_dom_item, list, 0).is_null());
    EXPECT_EQ(value(text(top, "new")), "new");
}

TEST_F(memory_safety, detached_nodes_shared_between_document_ids) {
    const sql::handle parser = call(xmlparser_new_parser).handle();
    call(xmlparser_parse_buffer, parser, "<a><b><c/></b></a>");
    const sql::handle one = call(xmlparser_get_doc, parser).handle();
    const sql::handle two = call(xmlparser_get_doc, parser).handle();
    const sql::handle inner_one = first(root(one));
    const sql::handle inner_two = first(root(two));
    ASSERT_EQ(node(inner_one), node(inner_two));
    const sql::handle below = first(inner_two);
    // Detaches <b> through the first id by letting a text take it up.
    const sql::handle target = text(one, "t");
    append(target, inner_one);
    EXPECT_FALSE(is_known(inner_one));
    EXPECT_FALSE(is_known(inner_two)); // the same node
    EXPECT_EQ(name(below), "c");
    const sql::handle detached = element(one, "d");
    append(detached, text(one, "x"));
    call(xml_dom_free_document, one);
    EXPECT_EQ(name(below), "c");
    EXPECT_EQ(name(call(xml_dom_get_parent_node, below).handle()), "b");
    EXPECT_EQ(written_root(two), "<a/>");
    call(xml_dom_free_document, two);
    call(xmlparser_free_parser, parser);
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(memory_safety, released_reached_again_and_appended) {
    const sql::handle tree = document("<a/>");
    const sql::handle made = element(tree, "b");
    const sql::handle below = append(made, text(tree, "t"));
    call(xml_dom_free_node, made);
    append(root(tree), call(xml_dom_get_parent_node, below).handle());
    append(root(tree), call(xml_dom_get_parent_node, below).handle()); // a second time
    EXPECT_EQ(written_root(tree), "<a><b>t</b></a>");
    call(xml_dom_free_document, tree);
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(memory_safety, ancestor_below_its_descendant) {
    const sql::handle tree = document("<a><b><c>t</c></b></a>");
    const sql::handle top = root(tree);
    const sql::handle middle = first(top);
    const sql::handle bottom = first(middle);
    EXPECT_REPORT(call(xml_dom_append_child, bottom, middle), reports::not_allowed);
    EXPECT_REPORT(call(xml_dom_append_child, bottom, top), reports::not_allowed);
    EXPECT_REPORT(call(xml_dom_append_child, first(bottom), top), reports::not_allowed);
    append(top, bottom); // the other way round is a move
    EXPECT_EQ(written(top), "<a><b/><c>t</c></a>");
}

TEST_F(memory_safety, document_type_and_declarations_as_children) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a ANY><!ENTITY e 'x<y/>'>]><a>&e;</a>");
    xmlDtdPtr const type = reinterpret_cast<xmlDocPtr>(node(tree))->intSubset;
    const sql::handle made = element(tree, "b");
    for (const sql::handle &fixed :
         {name_node(tree, type), name_node(tree, type->children), name_node(tree, type->last)}) {
        EXPECT_REPORT(call(xml_dom_append_child, made, fixed), reports::not_allowed);
        EXPECT_REPORT(call(xml_dom_append_child, first(root(tree)), fixed), reports::not_allowed);
        call(xml_dom_free_node, fixed);
    }
    call(xml_dom_free_node, made);
    EXPECT_EQ(reinterpret_cast<xmlDocPtr>(node(tree))->intSubset, type);
    EXPECT_EQ(written_root(tree), "<a>x<y/></a>");
}

TEST_F(memory_safety, element_given_as_the_document) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    EXPECT_REPORT(call(xml_dom_create_element, top, "c"), reports::not_a_document);
    EXPECT_REPORT(call(xml_dom_create_element_ns, top, "c", "u"), reports::not_a_document);
    EXPECT_REPORT(call(xml_dom_create_attribute, top, "c"), reports::not_a_document);
    EXPECT_REPORT(call(xml_dom_import_node, top, first(top), true), reports::not_a_document);
}

TEST_F(memory_safety, lists_and_maps_given_as_nodes) {
    const sql::handle tree = document("<a x='1'><b/></a>");
    const sql::handle list = list_of(root(tree));
    const sql::handle map = map_of(root(tree));
    for (const sql::handle &wrong : {list, map}) {
        EXPECT_TRUE(call(xml_dom_append_child, tree, wrong).failed());
        EXPECT_TRUE(call(xml_dom_import_node, tree, wrong, true).failed());
        EXPECT_TRUE(call(xml_dom_set_node_value, wrong, "v").failed());
        EXPECT_TRUE(call(xml_dom_make_attr, wrong).failed());
        EXPECT_TRUE(call(xml_dom_create_element, wrong, "c").failed());
        EXPECT_TRUE(call(xml_dom_set_attribute, wrong, "y", "1").failed());
        EXPECT_TRUE(
            call(xml_dom_set_attribute_node, wrong, attribute_of(root(tree), "x")).failed());
    }
    EXPECT_FALSE(call(xml_dom_free_node, list).failed());
    EXPECT_FALSE(call(xml_dom_free_node, map).failed());
    EXPECT_EQ(written_root(tree), "<a x=\"1\"><b/></a>");
}

// --- copies -------------------------------------------------------------------------------------

TEST_F(memory_safety, copied_document_outlives_its_original_and_gives_its_nodes_away) {
    const sql::handle into = document("<r/>");
    sql::handle moved;
    {
        const sql::handle from = document("<a xmlns:p='urn:p' x='1'><p:b/>text</a>");
        const sql::handle copy = import(into, from, true);
        moved = root(copy);
        call(xml_dom_free_document, from);
        append(root(into), moved);
        call(xml_dom_free_node, copy); // a document handle that owns nothing
    }
    EXPECT_EQ(written_root(into), "<r><a xmlns:p=\"urn:p\" x=\"1\"><p:b/>text</a></r>");
    call(xml_dom_free_document, into);
    EXPECT_TRUE(libxml2_bytes() == 0);
}

TEST_F(memory_safety, nodes_of_the_target_move_into_a_copied_document) {
    const sql::handle into = document("<r><s x='1'>text</s></r>"); // names of the parser's
    const sql::handle copy = import(into, empty_document(), true);
    append(copy, first(root(into)));
    const sql::handle second = import(into, document("<a/>"), true);
    append(root(second), root(copy));
    EXPECT_EQ(written_root(second), "<a><s x=\"1\">text</s></a>");
    call(xml_dom_free_document, into);
    EXPECT_FALSE(is_known(second));
}

TEST_F(memory_safety, what_stands_in_an_entity_stays_there) {
    const sql::handle tree = document("<!DOCTYPE a [<!ENTITY e 'one<b y=\"1\"><c/></b>two'>]>"
                                      "<a>&e;</a>");
    const xmlEntityPtr entity = xmlGetDocEntity(reinterpret_cast<xmlDocPtr>(node(tree)),
                                                reinterpret_cast<const xmlChar *>("e"));
    const sql::handle top = root(tree);
    const sql::handle one = name_node(tree, entity->children);
    const sql::handle inner = call(xml_dom_make_element, next(one)).handle();
    const sql::handle innermost = first(inner);
    for (const sql::handle &fixed : {one, inner, innermost}) {
        EXPECT_REPORT(call(xml_dom_append_child, top, fixed), reports::not_allowed);
        EXPECT_REPORT(call(xml_dom_append_child, fixed, text(tree, "t")), reports::not_allowed);
        EXPECT_FALSE(call(xml_dom_free_node, call(xml_dom_import_node, tree, fixed, true).handle())
                         .failed()); // reading is allowed
    }
    call(xml_dom_set_attribute, inner, "y", "2");
    EXPECT_EQ(written(inner), "<b y=\"1\"><c/></b>");
    EXPECT_EQ(written(top), "<a>one<b y=\"1\"><c/></b>two</a>");
}

TEST_F(memory_safety, copied_attribute_in_a_namespace_outlives_its_original) {
    const sql::handle into = document("<r/>");
    const sql::handle from = document("<a xmlns:p='urn:p' p:x='1'/>");
    const sql::handle copy =
        import(into, call(xml_dom_get_attribute_node, root(from), "x", "urn:p").handle(), false);
    const sql::handle removed = [&] {
        call(xml_dom_set_attribute, root(from), "x", "plain");
        return call(xml_dom_remove_attribute_node, root(from),
                    call(xml_dom_get_attribute_node, root(from), "x", "urn:p").handle())
            .handle();
    }();
    EXPECT_STREQ(reinterpret_cast<const char *>(node(removed)->ns->href), "urn:p");
    call(xml_dom_free_document, from);
    append(root(into), copy);
    EXPECT_EQ(call(xml_dom_get_attribute_ns, root(into), "x", "urn:p").text(), "1");
    EXPECT_EQ(written_root(into), "<r p:x=\"1\"/>");
}

// --- depth --------------------------------------------------------------------------------------

TEST_F(memory_safety, a_million_levels) {
    constexpr int k_built = trees::k_large / 4;
    constexpr int k_levels = trees::k_large;
    const sql::handle tree = empty_document();
    sql::handle bottom = build_levels(tree, k_built);
    const sql::handle top = root(tree);
    for (int levels = k_built; levels < k_levels; levels *= 2) {
        const sql::handle half = import(tree, top, true);
        const sql::handle below = name_node(tree, lowest(node(half)));
        append(bottom, half);
        EXPECT_REPORT(call(xml_dom_append_child, below, top), reports::not_allowed);
        bottom = below;
    }
    const sql::handle into = empty_document();
    const sql::handle copy = import(into, top, true);
    int levels = 0;
    for (const xmlNode *level = node(copy); level != nullptr; level = level->children) {
        levels += level->doc == static_cast<void *>(node(into)) ? 1 : 0;
    }
    EXPECT_EQ(levels, k_levels);
    const sql::handle document_copy = import(into, tree, true);
    append(into, root(document_copy)); // from one document to another
    EXPECT_EQ(node(root(into))->children->doc, static_cast<void *>(node(into)));
    append(into, copy);
    append(text(into, "text"), copy); // consumed
    call(xml_dom_free_node, import(into, top, true));
    call(xml_dom_free_document, into);
    call(xml_dom_free_document, tree);
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(memory_safety, named_text_of_an_attribute_whose_element_is_given_back) {
    const sql::handle tree = document("<r/>");
    const sql::handle loose = element(tree, "a");
    call(xml_dom_set_attribute, loose, "k", "text");
    const sql::handle attribute = call(xml_dom_get_attribute_node, loose, "k").handle();
    const sql::handle text = first(attribute);
    call(xml_dom_free_node, attribute);
    call(xml_dom_free_element, loose);
    EXPECT_EQ(value(text), "text");
    EXPECT_FALSE(call(xml_dom_get_parent_node, text).failed());
}

TEST_F(memory_safety, a_copy_that_runs_out_of_memory_leaves_no_trace) {
    const sql::handle from =
        document("<a xmlns:p='urn:p' p:x='1'><p:b y='2'>t<c xmlns='urn:c'/></p:b><!--c--></a>");
    const sql::handle into = document("<r/>");
    const std::string before = written_root(from);
    const std::int64_t bytes = libxml2_bytes();
    int failures = 0;
    for (std::int64_t allocation = 1;; ++allocation) {
        host::standalone::fail_call(host::standalone::service::libxml2_allocation, allocation);
        const sql::result result = call(xml_dom_import_node, into, first(from), true);
        host::standalone::clear_faults();
        if (!result.failed()) {
            EXPECT_EQ(written(result.handle()), before);
            break;
        }
        ++failures;
        EXPECT_REPORT(result, reports::out_of_memory);
        EXPECT_EQ(libxml2_bytes(), bytes);
        for (const xmlNs *record = node(first(from))->nsDef; record != nullptr;
             record = record->next) {
            EXPECT_EQ(record->_private, nullptr);
        }
    }
    EXPECT_GT(failures, 10);
    EXPECT_EQ(written_root(from), before);
}

} // namespace
