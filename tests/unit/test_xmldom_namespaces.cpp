// Namespaces while a tree changes: what is declared where, and that it reads back as it was.
#include "package_changing.hpp"

namespace {

using sql::call;

class package_namespaces : public package_changing {};

constexpr const char *k_soap = "http://schemas.xmlsoap.org/soap/envelope/";

// --- declarations that names need ---------------------------------------------------------------

TEST_F(package_namespaces, an_element_declares_its_namespace) {
    const sql::handle tree = call(xmldom_new_document, "soap:Envelope", k_soap).handle();
    EXPECT_EQ(written(root(tree)),
              "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"/>");
    const sql::handle body = element(tree, "soap:Body", k_soap);
    call(xmldom_append_child, root(tree), body);
    const sql::handle inner = element(tree, "m", "urn:m");
    call(xmldom_append_child, body, inner);
    call(xmldom_append_child, inner, element(tree, "plain"));
    EXPECT_EQ(written(root(tree)),
              "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body>"
              "<m xmlns=\"urn:m\"><plain xmlns=\"\"/></m></soap:Body></soap:Envelope>");
    EXPECT_TRUE(reads_back(tree));
}

TEST_F(package_namespaces, trees_built_from_below_lose_their_repeated_declarations) {
    const sql::handle tree = call(xmldom_new_document, "p:r", "urn:p").handle();
    const sql::handle outer = element(tree, "p:a", "urn:p");
    const sql::handle inner = element(tree, "p:b", "urn:p");
    call(xmldom_append_child, outer, inner);
    call(xmldom_append_child, root(tree), outer);
    EXPECT_EQ(written(tree), "<p:r xmlns:p=\"urn:p\"><p:a><p:b/></p:a></p:r>");
    EXPECT_TRUE(reads_back(tree));
}

TEST_F(package_namespaces, what_leaves_takes_its_declarations_along) {
    const sql::handle tree = document(
        "<r xmlns='urn:d' xmlns:p='urn:p' xmlns:q='urn:q'><a><p:b q:k='1'/><p:c/></a><x/></r>");
    const sql::handle a = child(root(tree), {0});
    const sql::handle b = child(a, {0});
    call(xmldom_remove, a);
    EXPECT_EQ(written(a), "<a xmlns=\"urn:d\" xmlns:p=\"urn:p\" xmlns:q=\"urn:q\">"
                          "<p:b q:k=\"1\"/><p:c/></a>");
    call(xmldom_remove, b);
    EXPECT_EQ(written(b), "<p:b xmlns:p=\"urn:p\" xmlns:q=\"urn:q\" q:k=\"1\"/>");
    EXPECT_TRUE(reads_back(a));
    EXPECT_TRUE(reads_back(b));
    // Back in its place it needs them no longer.
    call(xmldom_append_child, root(tree), a);
    call(xmldom_append_child, a, b);
    EXPECT_EQ(written(tree), "<r xmlns=\"urn:d\" xmlns:p=\"urn:p\" xmlns:q=\"urn:q\"><x/><a><p:c/>"
                             "<p:b q:k=\"1\"/></a></r>");
}

TEST_F(package_namespaces, a_move_below_another_meaning_of_the_prefix) {
    const sql::handle tree = document("<r xmlns:p='urn:1'><p:a p:k='1'><p:b/></p:a>"
                                      "<t xmlns:p='urn:2'><p:c/></t></r>");
    call(xmldom_append_child, child(root(tree), {1}), child(root(tree), {0}));
    EXPECT_EQ(written(tree), "<r xmlns:p=\"urn:1\"><t xmlns:p=\"urn:2\"><p:c/>"
                             "<p:a xmlns:p=\"urn:1\" p:k=\"1\"><p:b/></p:a></t></r>");
    EXPECT_TRUE(reads_back(tree));
}

TEST_F(package_namespaces, no_namespace_below_a_default_one) {
    const sql::handle tree = document("<r><d xmlns='urn:d'/><p:x xmlns:p='urn:p'><y/></p:x></r>");
    const sql::handle d = child(root(tree), {0});
    call(xmldom_append_child, d, child(root(tree), {1}));
    call(xmldom_append_child, d, element(tree, "n"));
    EXPECT_EQ(written(tree), "<r><d xmlns=\"urn:d\"><p:x xmlns:p=\"urn:p\"><y xmlns=\"\"/></p:x>"
                             "<n xmlns=\"\"/></d></r>");
    EXPECT_TRUE(reads_back(tree));
    call(xmldom_append_child, root(tree), child(d, {1}));
    EXPECT_TRUE(reads_back(tree));
}

// Elements that name no namespace themselves, with a text or nothing below them.
TEST_F(package_namespaces, a_small_element_below_default_namespaces) {
    const sql::handle tree = document("<p:r xmlns:p='urn:p'><a k='1'>t</a><b/><d xmlns='urn:d'/>"
                                      "<q:e xmlns:q='urn:q' xmlns='urn:e'/></p:r>");
    const sql::handle a = child(root(tree), {0});
    const sql::handle d = child(root(tree), {2});
    const sql::handle e = child(root(tree), {3});
    call(xmldom_append_child, root(tree), a); // stays in no namespace
    call(xmldom_insert_before, root(tree), child(root(tree), {0}), a);
    EXPECT_EQ(written(tree), "<p:r xmlns:p=\"urn:p\"><d xmlns=\"urn:d\"/>"
                             "<q:e xmlns:q=\"urn:q\" xmlns=\"urn:e\"/><b/><a k=\"1\">t</a></p:r>");
    call(xmldom_insert_before, root(tree), a, a); // in front of itself, where it stands
    call(xmldom_append_child, d, a);
    EXPECT_EQ(written(d), "<d xmlns=\"urn:d\"><a xmlns=\"\" k=\"1\">t</a></d>");
    call(xmldom_append_child, e, element(tree, "n"));
    call(xmldom_append_child, e, child(root(tree), {2}));
    EXPECT_EQ(written(e), "<q:e xmlns:q=\"urn:q\" xmlns=\"urn:e\"><n xmlns=\"\"/>"
                          "<b xmlns=\"\"/></q:e>");
    EXPECT_TRUE(reads_back(tree));
}

// A small element in a tree that stands in no document, and is freed when nobody needs it.
TEST_F(package_namespaces, a_small_element_leaves_a_detached_tree) {
    const sql::handle tree = document("<r><t><a>x</a><b/></t><u/></r>");
    const sql::handle u = child(root(tree), {1});
    const sql::handle a = child(root(tree), {0, 0});
    {
        const sql::handle t = child(root(tree), {0});
        call(xmldom_remove, t);
        call(xml_dom_free_node_returning, t);
    }
    EXPECT_EQ(call(xmldom_append_child, u, a).handle(), a);
    EXPECT_EQ(written(tree), "<r><u><a>x</a></u></r>");
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_TRUE(reads_back(tree));
}

// Each member of an array is fitted into its new place alone, also where it leaves another one that
// comes to stand beside it.
TEST_F(package_namespaces, members_that_stood_below_each_other) {
    const sql::handle d = document("<r xmlns='urn:d'/>");
    const sql::handle outer = element(d, "p:o", "urn:p");
    const sql::handle inner = element(d, "i");
    ASSERT_FALSE(call(xmldom_append_child, outer, inner).failed());
    ASSERT_FALSE(call(xmldom_append, root(d), array({outer, inner})).failed());
    EXPECT_EQ(written(root(d)), "<r xmlns=\"urn:d\"><p:o xmlns:p=\"urn:p\"/><i xmlns=\"\"/></r>");
}

TEST_F(package_namespaces, many_records_above_and_below) {
    std::string text = "<r";
    for (int number = 0; number < 500; ++number) {
        text += " xmlns:p" + std::to_string(number) + "='urn:" + std::to_string(number) + "'";
    }
    text += "><t>";
    for (int number = 0; number < 500; ++number) {
        text += "<p" + std::to_string(number) + ":e/>";
    }
    const sql::handle tree = document(text + "</t></r>");
    const sql::handle t = child(root(tree), {0});
    call(xmldom_remove, t);
    EXPECT_TRUE(reads_back(t));
    call(xmldom_append_child, root(tree), t);
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(node(t)->nsDef, nullptr);
}

// --- attributes ---------------------------------------------------------------------------------

TEST_F(package_namespaces, attributes_get_a_prefix) {
    const sql::handle tree = document("<r xmlns:p='urn:p'><a/></r>");
    const sql::handle a = child(root(tree), {0});
    EXPECT_EQ(call(xmldom_set_attribute_ns, a, "p:k", "1", "urn:p").handle(), a);
    call(xmldom_set_attribute_ns, a, "k", "2", "urn:other");
    call(xmldom_set_attribute_ns, a, "p:l", "3", "urn:third");
    call(xmldom_set_attribute_ns, a, "q:m", "4", "urn:fourth");
    call(xmldom_set_attribute_ns, a, "n", "5", "urn:p");
    call(xmldom_set_attribute_ns, a, "xml:lang", "de", "http://www.w3.org/XML/1998/namespace");
    EXPECT_EQ(written(a), "<a xmlns:ns1=\"urn:other\" xmlns:ns2=\"urn:third\" "
                          "xmlns:q=\"urn:fourth\" p:k=\"1\" ns1:k=\"2\" ns2:l=\"3\" q:m=\"4\" "
                          "p:n=\"5\" xml:lang=\"de\"/>");
    EXPECT_TRUE(reads_back(tree));
    call(xmldom_set_attribute_ns, a, "k", "other", "urn:other");
    call(xmldom_set_attribute_ns, a, "p:k", sql::null, "urn:p");
    EXPECT_EQ(call(xmldom_remove_attribute_ns, a, "l", "urn:third").handle(), a);
    EXPECT_EQ(written(a), "<a xmlns:ns1=\"urn:other\" xmlns:ns2=\"urn:third\" "
                          "xmlns:q=\"urn:fourth\" ns1:k=\"other\" q:m=\"4\" p:n=\"5\" "
                          "xml:lang=\"de\"/>");
}

TEST_F(package_namespaces, plain_names_with_a_prefix_mean_what_is_in_scope) {
    const sql::handle tree = document("<r xmlns:p='urn:p'><a p:k='1'/></r>");
    const sql::handle a = child(root(tree), {0});
    call(xmldom_set_attribute, a, "p:k", "2");
    call(xmldom_set_attribute, a, "p:l", "3");
    call(xmldom_set_attribute, a, "xml:lang", "de");
    EXPECT_EQ(written(a), "<a p:k=\"2\" p:l=\"3\" xml:lang=\"de\"/>");
    EXPECT_NE(xmlHasNsProp(node(a), trees::xml("l"), trees::xml("urn:p")), nullptr);
    EXPECT_REPORT(call(xmldom_set_attribute, a, "q:k", "1"), reports::undeclared_prefix, "q:k");
    EXPECT_REPORT(call(xmldom_create_element, tree, "p:e"), reports::undeclared_prefix, "p:e");
    EXPECT_REPORT(call(xmldom_create_attribute, tree, "p:e"), reports::undeclared_prefix, "p:e");
    EXPECT_FALSE(call(xmldom_create_attribute, tree, "xml:space").failed());
}

TEST_F(package_namespaces, attribute_nodes_carry_their_namespace) {
    const sql::handle tree = document("<r xmlns:p='urn:p'><a p:k='1'/><b/></r>");
    const sql::handle a = child(root(tree), {0});
    const sql::handle k = attribute(a, "k");
    EXPECT_EQ(call(xmldom_remove_attribute_node, a, k).handle(), k);
    const sql::handle made = call(xmldom_create_attribute_ns, tree, "q:k", "urn:p").handle();
    EXPECT_TRUE(call(xmldom_set_attribute_node, a, made).is_null());
    EXPECT_EQ(written(a), "<a xmlns:q=\"urn:p\" q:k=\"\"/>");
    EXPECT_EQ(call(xmldom_set_attribute_node, a, k).handle(), made);
    EXPECT_EQ(call(xmldom_set_attribute_node, a, k).handle(), k);
    EXPECT_EQ(written(a), "<a xmlns:q=\"urn:p\" p:k=\"1\"/>");
    EXPECT_REPORT(call(xmldom_set_attribute_node, child(root(tree), {1}), k),
                  reports::attribute_in_use, "an attribute p:k");
    call(xmldom_remove, a);
    EXPECT_TRUE(reads_back(a));
}

// --- declarations as attributes -----------------------------------------------------------------

TEST_F(package_namespaces, declarations_are_set_and_replaced) {
    const sql::handle tree = document("<r xmlns:p='urn:p'><p:a/></r>");
    const sql::handle top = root(tree);
    EXPECT_EQ(call(xmldom_set_attribute, top, "xmlns:q", "urn:q").handle(), top);
    call(xmldom_set_attribute, top, "xmlns:q", "urn:other");
    call(xmldom_set_attribute, top, "xmlns:p", "urn:p");
    call(xmldom_set_attribute_ns, top, "xmlns:s", "urn:s", "http://www.w3.org/2000/xmlns/");
    EXPECT_EQ(written(tree),
              "<r xmlns:p=\"urn:p\" xmlns:q=\"urn:other\" xmlns:s=\"urn:s\"><p:a/></r>");
    EXPECT_REPORT(call(xmldom_set_attribute, top, "xmlns:p", "urn:new"),
                  reports::declaration_in_use, "xmlns:p",
                  "names in the element would come to stand for something else");
    EXPECT_EQ(call(xmldom_remove_attribute, top, "xmlns:p").error().sqlstate, "XD014");
    call(xmldom_remove_attribute, top, "xmlns:q");
    call(xmldom_set_attribute, top, "xmlns:s", sql::null);
    call(xmldom_remove_attribute, top, "xmlns:absent");
    EXPECT_EQ(written(tree), "<r xmlns:p=\"urn:p\"><p:a/></r>");
    // The default namespace takes in what has none.
    EXPECT_EQ(call(xmldom_set_attribute, top, "xmlns", "urn:d").error().sqlstate, "XD014");
    EXPECT_FALSE(call(xmldom_set_attribute, top, "xmlns", "").failed());
    const sql::handle inner = child(top, {0});
    EXPECT_FALSE(call(xmldom_set_attribute, inner, "xmlns", "urn:d").failed());
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(written(inner), "<p:a xmlns=\"urn:d\"/>");
}

TEST_F(package_namespaces, reserved_prefixes_and_uris) {
    const sql::handle tree = document("<r/>");
    const sql::handle top = root(tree);
    const char *const xml_uri = "http://www.w3.org/XML/1998/namespace";
    const char *const xmlns_uri = "http://www.w3.org/2000/xmlns/";
    for (const auto &[name, uri] :
         std::initializer_list<std::pair<const char *, const char *>>{{"xml:e", "urn:x"},
                                                                      {"p:e", xml_uri},
                                                                      {"e", xml_uri},
                                                                      {"xmlns:e", "urn:x"},
                                                                      {"xmlns", "urn:x"},
                                                                      {"p:e", xmlns_uri},
                                                                      {"p:e", ""},
                                                                      {"xmlns:e", xmlns_uri}}) {
        EXPECT_EQ(call(xmldom_create_element_ns, tree, name, uri).error().sqlstate, "XD014")
            << name << uri;
        EXPECT_EQ(call(xmldom_rename_node, top, name, uri).error().sqlstate, "XD014") << name;
    }
    for (const auto &[name, uri] :
         std::initializer_list<std::pair<const char *, const char *>>{{"xmlns:xml", "urn:x"},
                                                                      {"xmlns:xmlns", "urn:x"},
                                                                      {"xmlns:p", ""},
                                                                      {"xmlns:p", xml_uri},
                                                                      {"xmlns:p", xmlns_uri},
                                                                      {"xmlns", xml_uri}}) {
        EXPECT_EQ(call(xmldom_set_attribute, top, name, uri).error().sqlstate, "XD014") << name;
    }
    EXPECT_FALSE(call(xmldom_set_attribute, top, "xmlns:xml", xml_uri).failed());
    EXPECT_EQ(call(xmldom_set_attribute_ns, top, "xmlns:p", "urn:x", "urn:y").error().sqlstate,
              "XD014");
    EXPECT_EQ(call(xmldom_create_attribute, tree, "xmlns").error().sqlstate, "XD014");
    EXPECT_EQ(written(tree), "<r/>");
}

// --- renaming -----------------------------------------------------------------------------------

TEST_F(package_namespaces, renaming_keeps_what_stands_below) {
    const sql::handle tree = document("<p:r xmlns:p='urn:p' p:k='1'><p:a/><b/></p:r>");
    const sql::handle top = root(tree);
    EXPECT_EQ(call(xmldom_rename_node, top, "p:s", "urn:q").handle(), top);
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(trees::string_of(node(top)->ns->href), "urn:q");
    EXPECT_EQ(trees::string_of(node(child(top, {0}))->ns->href), "urn:p");
    call(xmldom_rename_node, top, "t", "urn:d");
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(node(child(top, {1}))->ns, nullptr);
    call(xmldom_rename_node, top, "u", sql::null);
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(node(top)->ns, nullptr);
    const sql::handle k = handle(tree, reinterpret_cast<xmlNodePtr>(node(top)->properties));
    call(xmldom_rename_node, k, "plain", sql::null);
    EXPECT_TRUE(reads_back(tree));
    call(xmldom_set_attribute, top, "other", "2");
    EXPECT_REPORT(call(xmldom_rename_node, k, "other", sql::null), reports::attribute_exists,
                  "an element <u>", "other");
    call(xmldom_rename_node, k, "z:k", "urn:z");
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(call(xmldom_rename_node, child(top, {0}), "1", "urn:z").error().sqlstate, "XD005");
    EXPECT_EQ(call(xmldom_rename_node, text(tree, "x"), "n", sql::null).error().sqlstate, "XD024");
}

TEST_F(package_namespaces, set_prefix_keeps_the_namespace) {
    const sql::handle tree = document("<p:r xmlns:p='urn:p'><p:a/><b/></p:r>");
    const sql::handle top = root(tree);
    EXPECT_EQ(call(xmldom_set_prefix, top, "q").handle(), top);
    EXPECT_EQ(written(tree), "<q:r xmlns:p=\"urn:p\" xmlns:q=\"urn:p\"><p:a/><b/></q:r>");
    call(xmldom_set_prefix, top, sql::null);
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(call(xmldom_set_prefix, child(top, {1}), "p").error().sqlstate, "XD014");
    EXPECT_EQ(call(xmldom_set_prefix, top, "xml").error().sqlstate, "XD014");
    EXPECT_EQ(call(xmldom_set_prefix, top, "a:b").error().sqlstate, "XD005");
}

// --- copies -------------------------------------------------------------------------------------

TEST_F(package_namespaces, copies_are_whole) {
    const sql::handle tree = document("<r xmlns='urn:d' xmlns:p='urn:p'>"
                                      "<a p:k='1'><p:b/><c xmlns=''><d/></c></a></r>");
    const sql::handle a = child(root(tree), {0});
    const sql::handle shallow = call(xmldom_clone_node, a).handle();
    const sql::handle deep = call(xmldom_clone_node, a, true).handle();
    EXPECT_EQ(written(shallow), "<a xmlns=\"urn:d\" xmlns:p=\"urn:p\" p:k=\"1\"/>");
    EXPECT_EQ(written(deep), "<a xmlns=\"urn:d\" xmlns:p=\"urn:p\" p:k=\"1\"><p:b/>"
                             "<c xmlns=\"\"><d/></c></a>");
    EXPECT_TRUE(reads_back(deep));
    const sql::handle other = document("<o/>");
    const sql::handle imported = call(xmldom_import_node, other, a, true).handle();
    EXPECT_EQ(written(imported), written(deep));
    EXPECT_EQ(node(imported)->doc, node(other)->doc);
    call(xmldom_append_child, root(other), imported);
    EXPECT_TRUE(reads_back(other));
    const sql::handle whole = call(xmldom_clone_node, tree, true).handle();
    EXPECT_EQ(written(whole), written(tree));
    EXPECT_NE(whole, tree);
    EXPECT_EQ(written(call(xmldom_clone_node, tree, false).handle()), "");
}

// What names of a copy need is declared on top of it where that says the same everywhere in it, and
// else where they stand.
TEST_F(package_namespaces, copies_declare_what_their_names_need) {
    const struct {
        const char *source; // the first child of its root is copied
        const char *copy;
    } samples[] = {
        {"<r xmlns:p='urn:p' xmlns:q='urn:q'><a q:k='1'><p:b/><c p:k='2'/></a></r>",
         "<a xmlns:q=\"urn:q\" xmlns:p=\"urn:p\" q:k=\"1\"><p:b/><c p:k=\"2\"/></a>"},
        {"<r xmlns='urn:d' xmlns:p='urn:p'><a><b p:k='1'/></a></r>",
         "<a xmlns=\"urn:d\" xmlns:p=\"urn:p\"><b p:k=\"1\"/></a>"},
        {"<r xmlns='urn:d' xmlns:p='urn:p'><p:a><b/><c/></p:a></r>",
         "<p:a xmlns:p=\"urn:p\"><b xmlns=\"urn:d\"/><c xmlns=\"urn:d\"/></p:a>"},
        {"<r xmlns='urn:d' xmlns:p='urn:p'><a><p:b/><c xmlns=''><p:d/></c></a></r>",
         "<a xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:b/><c xmlns=\"\"><p:d/></c></a>"},
        {"<r xmlns:p='urn:p'><a><p:b/><c xmlns:p='urn:o'><p:d/></c><p:e/></a></r>",
         "<a xmlns:p=\"urn:p\"><p:b/><c xmlns:p=\"urn:o\"><p:d/></c><p:e/></a>"},
        {"<r xmlns:p='urn:p'><a xml:lang='en'><b xml:space='preserve'/></a></r>",
         "<a xml:lang=\"en\"><b xml:space=\"preserve\"/></a>"},
    };
    for (const auto &sample : samples) {
        const sql::handle other = document("<o xmlns='urn:o'/>");
        const sql::handle original = child(root(document(sample.source)), {0});
        for (const sql::handle &copy : {call(xmldom_import_node, other, original, true).handle(),
                                        call(xmldom_clone_node, original, true).handle()}) {
            EXPECT_EQ(written(copy), sample.copy);
            EXPECT_TRUE(reads_back(copy));
        }
        const sql::handle copy = call(xmldom_import_node, other, original, true).handle();
        call(xmldom_append_child, root(other), copy);
        EXPECT_TRUE(reads_back(other));
    }
}

// Names that nothing above them declares, as long-named functions leave them.
TEST_F(package_namespaces, copies_declare_what_was_never_declared) {
    const sql::handle tree = document("<r xmlns='urn:d'><a/><b/></r>");
    const sql::handle plain = call(xml_dom_create_element, tree, "n").handle();
    call(xml_dom_append_child, call(xml_dom_makenode, child(root(tree), {0})).handle(),
         call(xml_dom_makenode, plain).handle());
    const sql::handle a = child(root(tree), {0});
    EXPECT_EQ(written(call(xmldom_clone_node, a, true).handle()),
              "<a xmlns=\"urn:d\"><n xmlns=\"\"/></a>");
    const sql::handle b = child(root(tree), {1});
    call(xml_dom_set_attribute_ns, b, "k", "1", "urn:k");
    EXPECT_EQ(written(call(xmldom_clone_node, b, true).handle()),
              "<b xmlns=\"urn:d\" xmlns:ns1=\"urn:k\" ns1:k=\"1\"/>");
}

// References in attributes are found as well as those below the node; a copy without what stands
// below it has none of the latter.
TEST_F(package_namespaces, entities_of_an_imported_tree_are_declared) {
    const sql::handle tree =
        document("<!DOCTYPE r [<!ENTITY e 'ent'>]><r><a><b/></a><c k='v'/></r>");
    const sql::handle a = child(root(tree), {0});
    const sql::handle c = child(root(tree), {1});
    call(xmldom_append_child, child(a, {0}),
         call(xmldom_create_entity_reference, tree, "e").handle());
    call(xmldom_append_child, attribute(c, "k"),
         call(xmldom_create_entity_reference, tree, "e").handle());
    const sql::handle other = document("<o/>");
    EXPECT_REPORT(call(xmldom_import_node, other, a, true), reports::no_such_entity, "e");
    EXPECT_REPORT(call(xmldom_import_node, other, c, false), reports::no_such_entity, "e");
    EXPECT_REPORT(call(xmldom_import_node, other, child(a, {0, 0})), reports::no_such_entity, "e");
    EXPECT_REPORT(call(xmldom_adopt_node, other, a), reports::no_such_entity, "e");
    EXPECT_EQ(written(call(xmldom_import_node, other, a, false).handle()), "<a/>");
    const sql::handle knowing = document("<!DOCTYPE o [<!ENTITY e 'other'>]><o/>");
    EXPECT_EQ(written(call(xmldom_import_node, knowing, a, true).handle()), "<a><b>&e;</b></a>");
    EXPECT_EQ(written(call(xmldom_import_node, knowing, c, true).handle()), "<c k=\"v&e;\"/>");
}

// Elements in a default namespace whose record is not that of the declaration above them.
TEST_F(package_namespaces, copies_of_built_trees) {
    const sql::handle tree = call(xmldom_new_document, "r").handle();
    const sql::handle d = element(tree, "d", "urn:d");
    call(xmldom_append_child, root(tree), d);
    const sql::handle e = element(tree, "e", "urn:d");
    call(xmldom_append_child, d, e);
    EXPECT_EQ(written(tree), "<r><d xmlns=\"urn:d\"><e/></d></r>");
    for (const sql::handle &copy : {call(xmldom_clone_node, tree, true).handle(),
                                    call(xmldom_clone_node, root(tree), true).handle()}) {
        EXPECT_EQ(written(copy), written(tree));
        EXPECT_TRUE(reads_back(copy));
    }
}

TEST_F(package_namespaces, adoption_moves_within_a_family_and_copies_between) {
    const sql::handle tree = document("<r xmlns:p='urn:p'><p:a><b/></p:a></r>");
    const sql::handle other = document("<o/>");
    const sql::handle a = child(root(tree), {0});
    const sql::handle b = child(a, {0});
    const sql::handle adopted = call(xmldom_adopt_node, other, a).handle();
    EXPECT_EQ(written(tree), "<r xmlns:p=\"urn:p\"/>");
    EXPECT_EQ(written(adopted), "<p:a xmlns:p=\"urn:p\"><b/></p:a>");
    EXPECT_FALSE(adopted == a);
    EXPECT_REPORT(call(xmldom_remove, a), reports::stale_handle);
    EXPECT_REPORT(call(xmldom_remove, b), reports::stale_handle);
    call(xmldom_append_child, root(other), adopted);
    EXPECT_TRUE(reads_back(other));

    const sql::handle copy = call(xml_dom_import_node, other, tree, true).handle();
    const sql::handle foreign = child(copy, {0});
    EXPECT_EQ(call(xmldom_adopt_node, other, foreign).handle(), foreign);
    EXPECT_EQ(node(foreign)->doc, node(other)->doc);
    call(xmldom_append_child, root(other), foreign);
    EXPECT_TRUE(reads_back(other));
    EXPECT_REPORT(call(xmldom_adopt_node, other, tree), reports::not_to_be_copied, "a document");
    EXPECT_REPORT(call(xmldom_import_node, other, tree), reports::not_to_be_copied, "a document");
}

// What long-named functions left without a declaration.
TEST_F(package_namespaces, normalize_document_declares) {
    const sql::handle tree = document("<r/>");
    call(xml_dom_set_attribute_ns, root(tree), "k", "1", "urn:k");
    const sql::handle made = call(xml_dom_create_element_ns, tree, "e", "urn:e").handle();
    call(xml_dom_append_child, call(xml_dom_makenode, root(tree)).handle(),
         call(xml_dom_makenode, made).handle());
    EXPECT_EQ(call(xmldom_normalize_document, tree).handle(), tree);
    EXPECT_TRUE(reads_back(tree));
    EXPECT_EQ(written(tree), "<r xmlns:ns1=\"urn:k\" ns1:k=\"1\"><e xmlns=\"urn:e\"/></r>");
}

} // namespace
