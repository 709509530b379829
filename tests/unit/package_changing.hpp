// What the tests of the packages' changing functions share: the functions, documents from text,
// what is written, and whether what is written reads back as the same tree.
#pragma once

#include "support/arrays.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include "tree_equality.hpp"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

class package_changing : public sql::session_test {
  protected:
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }

    static sql::handle document(std::string_view text) { return trees::parsed(text); }
    static xmlNodePtr node(const sql::handle &of) { return trees::node_of(of); }
    // The own handle of a node.
    static sql::handle handle(const sql::handle &from, xmlNodePtr of) {
        return trees::handle_of(pkg_dbe_xml::own_handle(*trees::entry_of(from), of));
    }
    static sql::handle root(const sql::handle &of) {
        return handle(of, xmlDocGetRootElement(node(of)->doc));
    }
    // The child of a node at a place, from 0; further numbers lead further down.
    static sql::handle child(const sql::handle &of, std::initializer_list<int> path) {
        xmlNodePtr found = node(of);
        for (const int place : path) {
            found = found->children;
            for (int skipped = 0; skipped < place; ++skipped) {
                found = found->next;
            }
        }
        return handle(of, found);
    }
    static sql::handle attribute(const sql::handle &of, const char *name) {
        return handle(of, pkg_dbe_xml::as_node(xmlHasProp(node(of), trees::xml(name))));
    }
    static sql::handle element(const sql::handle &of, std::string_view name) {
        return sql::call(xmldom_create_element, of, name).handle();
    }
    static sql::handle element(const sql::handle &of, std::string_view name, std::string_view uri) {
        return sql::call(xmldom_create_element_ns, of, name, uri).handle();
    }
    static sql::handle text(const sql::handle &of, std::string_view data) {
        return sql::call(xmldom_create_text_node, of, data).handle();
    }
    // An array of handles as an argument.
    static sql::raw array(const std::vector<sql::handle> &members) {
        return sql::array_of(members);
    }

    // What libxml2 writes of a node, without indentation.
    static std::string written(const sql::handle &of) { return trees::written(node(of)); }
    // The tree that a node stands in reads back as it is.
    static ::testing::AssertionResult reads_back(const sql::handle &of) {
        return trees::reads_back(node(of));
    }
};
