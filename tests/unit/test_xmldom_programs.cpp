// Random programs of the packages' changing functions. After every call the session's invariants
// hold, and after every program every tree reads back as it is.
#include "package_changing.hpp"

#include <random>

namespace {

using sql::call;

// A machine that changes the trees of two documents, over a ring of their nodes.
class program {
  public:
    explicit program(std::uint32_t seed) : random_(seed) {
        documents_ = {trees::parsed("<r xmlns='urn:d' xmlns:p='urn:p'><a p:k='1'><p:b/>t</a>"
                                    "<c xmlns=''><d/><!--x--></c></r>"),
                      trees::parsed("<q:o xmlns:q='urn:p'><e xml:id='i'/></q:o>")};
        for (const sql::handle &document : documents_) {
            nodes_.push_back(document);
            add_all(trees::node_of(document), document);
        }
    }
    // One call; its error, "" for none.
    void step() {
        const std::size_t which = pick(25);
        outcome_ = which < 12   ? change_place(which)
                   : which < 18 ? change_attribute(which - 12)
                                : change_node(which - 18);
        calls_ += 1;
        failures_ += outcome_.failed() ? 1 : 0;
        if (outcome_.failed() || outcome_.is_null() || outcome_.datum() == 0) {
            return; // nothing came back, or nothing ever does
        }
        if (nodes_.size() < 40) {
            nodes_.push_back(outcome_.handle());
        } else {
            nodes_[pick(nodes_.size())] = outcome_.handle();
        }
    }
    [[nodiscard]] ::testing::AssertionResult all_read_back() const {
        for (const auto &ring : {nodes_, documents_}) {
            for (const sql::handle &handle : ring) {
                xmlNodePtr const node = trees::node_of(handle);
                if (node == nullptr) {
                    continue;
                }
                if (auto result = trees::reads_back(node); !result) {
                    return result;
                }
            }
        }
        return ::testing::AssertionSuccess();
    }
    [[nodiscard]] std::size_t failures() const { return failures_; }
    [[nodiscard]] std::size_t calls() const { return calls_; }

  private:
    std::size_t pick(std::size_t count) { return random_() % count; }
    const sql::handle &node() { return nodes_[pick(nodes_.size())]; }
    const sql::handle &document() { return documents_[pick(8) == 0 ? 1 : 0]; }
    const char *name() {
        static constexpr const char *k_names[] = {"a",     "b",      "p:a",  "q:b",
                                                  "ns1:c", "xml:id", "no no"};
        return k_names[pick(7)];
    }
    sql::value uri() {
        static constexpr const char *k_uris[] = {"urn:d", "urn:p", "urn:q",
                                                 "http://www.w3.org/XML/1998/namespace"};
        const std::size_t which = pick(6);
        return which < 4 ? sql::value(k_uris[which]) : sql::value(sql::null);
    }
    const char *data() {
        static constexpr const char *k_data[] = {"", "x", "-", "]]", ">", "\r\n", "a&<b", "?>"};
        return k_data[pick(8)];
    }
    void add_all(xmlNodePtr top, const sql::handle &from) {
        for (xmlNodePtr node = top->children; node != nullptr;
             node = pkg_dbe_xml::next_below(node, top)) {
            nodes_.push_back(
                trees::handle_of(pkg_dbe_xml::own_handle(*trees::entry_of(from), node)));
        }
    }
    sql::raw some_nodes() {
        std::vector<sql::handle> members;
        for (std::size_t count = pick(4); count != 0; --count) {
            members.push_back(node());
        }
        return sql::array_of(members);
    }
    sql::result change_place(std::size_t which) {
        switch (which) {
        case 0:
        case 1:
        case 2:
            return call(xmldom_append_child, node(), node());
        case 3:
        case 4:
            return call(xmldom_insert_before, node(), node(), node());
        case 5:
            return call(xmldom_replace_child, node(), node(), node());
        case 6:
            return call(xmldom_append, node(), some_nodes());
        case 7:
            return call(xmldom_before, node(), some_nodes());
        case 8:
            return call(xmldom_replace_with, node(), some_nodes());
        case 9:
            return pick(4) == 0 ? call(xmldom_replace_children, node(), some_nodes())
                                : call(xmldom_prepend, node(), some_nodes());
        case 10:
            return call(xmldom_remove, node());
        default:
            return call(xmldom_after, node(), some_nodes());
        }
    }
    sql::result change_attribute(std::size_t which) {
        switch (which) {
        case 0:
            return call(xmldom_set_attribute, node(), name(), data());
        case 1:
            return sql::call_with(xmldom_set_attribute_ns, {node(), name(), data(), uri()});
        case 2:
            return call(xmldom_remove_attribute, node(), name());
        case 3:
            return sql::call_with(xmldom_create_attribute_ns, {document(), name(), uri()});
        case 4:
            return call(xmldom_set_attribute_node, node(), node());
        default:
            return sql::call_with(xmldom_set_attribute,
                                  {node(), pick(2) == 0 ? "xmlns" : "xmlns:p", uri()});
        }
    }
    sql::result change_node(std::size_t which) {
        switch (which) {
        case 0:
            return sql::call_with(xmldom_create_element_ns, {document(), name(), uri()});
        case 1:
            return pick(2) == 0 ? call(xmldom_create_text_node, document(), data())
                                : call(xmldom_create_cdata_section, document(), data());
        case 2:
            return pick(2) == 0 ? call(xmldom_create_comment, document(), data())
                                : call(xmldom_create_document_fragment, document());
        case 3:
            return sql::call_with(xmldom_rename_node, {node(), name(), uri()});
        case 4:
            return pick(2) == 0 ? call(xmldom_clone_node, node(), true)
                                : call(xmldom_adopt_node, document(), node());
        case 5:
            return pick(2) == 0 ? call(xmldom_append_data, node(), data())
                                : call(xmldom_normalize, node());
        default:
            return pick(3) == 0   ? call(xml_dom_free_node, node())
                   : pick(2) == 0 ? call(xmldom_set_prefix, node(), pick(2) == 0 ? "p" : "")
                                  : call(xmldom_set_text_content, node(), data());
        }
    }

    std::mt19937 random_;
    std::vector<sql::handle> documents_;
    std::vector<sql::handle> nodes_;
    sql::result outcome_;
    std::size_t calls_ = 0;
    std::size_t failures_ = 0;
};

class package_programs : public package_changing {};

TEST_F(package_programs, keep_every_tree_readable) {
    std::size_t calls = 0;
    std::size_t failures = 0;
    for (std::uint32_t seed = 1; seed <= 400; ++seed) {
        program played(seed);
        for (int count = 0; count < 100; ++count) {
            played.step();
        }
        ASSERT_TRUE(sql::check_invariants()) << "seed " << seed;
        ASSERT_TRUE(played.all_read_back()) << "seed " << seed;
        calls += played.calls();
        failures += played.failures();
        restart_session();
    }
    // Programs of nothing but refusals would prove little.
    EXPECT_LT(failures * 10, calls * 8);
}

} // namespace
