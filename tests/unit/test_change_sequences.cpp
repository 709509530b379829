// Changes in random order over a ring of handles of every kind, live, released and stale: whatever
// the calls answer, the invariants hold after them.
#include "changing.hpp"

#include "support/invariants.hpp"

#include <random>
#include <vector>

namespace {

using sql::call;

constexpr int k_seeds = 60;
constexpr int k_calls = 400;
constexpr int k_calls_between_checks = 20;
constexpr std::size_t k_ring = 40;
constexpr int k_first_steps = 100;
// Of the calls of a session, those that gave a result.
constexpr int k_fewest_results = k_calls / 4;

const std::vector<std::string> k_documents{
    "<a x='1' y='2'>text<b x='3'><c/>more</b><!--note--><?pi data?><![CDATA[raw]]></a>",
    "<!DOCTYPE a [<!ELEMENT a ANY><!ENTITY e 'in<b x=\"1\"/>side'><!ATTLIST a d CDATA 'v' "
    "i ID #IMPLIED>]><a i='id'>&e;<a i='other'/></a>",
    "<p:a xmlns:p='urn:p' xmlns='urn:d' p:x='1' x='2'><b xml:lang='en'><p:c p:x='3'/></b>t</p:a>",
    "<a><b>1</b><b>2</b><b>3</b><b>4</b></a>"};
const std::vector<std::string> k_names{"a", "b", "x", "y", "i", "p:x", "xml:lang", ""};
const std::vector<std::string> k_texts{"", "t", "a & b", "a text that is longer than the others"};

class change_sequences : public ::testing::TestWithParam<int> {};

// One session of random calls.
class sequence {
  public:
    explicit sequence(unsigned seed) : random_(seed), ring_(k_ring) {}

    void run() {
        for (const std::string &xml : k_documents) {
            keep(call(xml_dom_new_document_clob, xml));
        }
        keep(call(xml_dom_new_document_empty));
        for (int step = 0; step < k_first_steps; ++step) {
            keep(navigate());
        }
        for (int step = 0; step < k_calls; ++step) {
            keep(one_call());
            if (step % k_calls_between_checks == 0) {
                ASSERT_TRUE(sql::check_invariants());
                host::standalone::reset_caller_context();
            }
        }
        for (const sql::handle &held : ring_) {
            call(xml_dom_write_to_clob_doc, held);
            call(xml_dom_free_document, held);
        }
        EXPECT_TRUE(sql::check_invariants());
    }
    [[nodiscard]] int succeeded() const { return succeeded_; }

  private:
    std::size_t below(std::size_t bound) { return random_() % bound; }
    // Mostly a handle that names something, now and then any at all.
    const sql::handle &any() {
        std::size_t place = below(k_ring);
        for (int attempt = 0; attempt < 8 && !names_something(ring_[place]); ++attempt) {
            place = below(k_ring);
        }
        return below(16) == 0 ? ring_[below(k_ring)] : ring_[place];
    }
    static bool names_something(const sql::handle &held) {
        pkg_dbe_xml::DomKey key;
        std::memcpy(key.bytes.data(), held.bytes.data(), held.bytes.size());
        const pkg_dbe_xml::XMLHashEntry *const entry = pkg_dbe_xml::xml_find_hashentry(key);
        return entry != nullptr && entry->object != nullptr;
    }
    const std::string &name() { return k_names[below(k_names.size())]; }
    const std::string &text() { return k_texts[below(k_texts.size())]; }

    // Results that are handles go into the ring, over an older one.
    void keep(const sql::result &result) {
        if (result.failed() || result.is_null()) {
            return;
        }
        ++succeeded_;
        if (result.datum() > 0xFFFF && result.stored_bytes().size() == 17) {
            ring_[below(k_ring)] = result.handle();
        }
    }

    sql::result one_call() {
        const std::size_t group = below(10);
        return group < 3 ? navigate() : group < 8 ? change() : make_or_release();
    }

    sql::result navigate() {
        switch (below(12)) {
        case 0:
            return call(xml_dom_get_document_element, any());
        case 1:
            return call(xml_dom_get_parent_node, any());
        case 2:
            return call(xml_dom_get_first_child, any());
        case 3:
            return call(xml_dom_get_last_child, any());
        case 4:
            return call(xml_dom_get_next_sibling, any());
        case 5:
            return call(xml_dom_get_child_nodes, any());
        case 6:
            return call(xml_dom_get_attributes, any());
        case 7:
            return call(xml_dom_item, any(), static_cast<int>(below(4)));
        case 8:
            return call(xml_dom_get_attribute_node, any(), name());
        case 9:
            return call(xml_dom_make_element, any());
        case 10:
            return call(xml_dom_makenode, any());
        default:
            return call(xml_dom_make_attr, any());
        }
    }

    sql::result change() {
        switch (below(12)) {
        case 0:
            return call(xml_dom_set_attribute, any(), name(), text());
        case 1:
            return call(xml_dom_set_attribute_ns, any(), name(), text(), "urn:p");
        case 2:
            return call(xml_dom_set_attribute_node, any(), any());
        case 3:
            return call(xml_dom_remove_attribute_node, any(), any());
        case 4:
            return call(xml_dom_import_node, any(), any(), below(2) == 0);
        case 5:
        case 6:
            return call(xml_dom_set_node_value, any(), text());
        default:
            return append();
        }
    }

    // Handles of one document, most of the time.
    sql::result append() {
        const sql::handle &parent = any();
        for (int attempt = 0; attempt < 8; ++attempt) {
            const sql::handle &child = any();
            if (child.document_id() == parent.document_id()) {
                return call(xml_dom_append_child, parent, child);
            }
        }
        return call(xml_dom_append_child, parent, any());
    }

    sql::result make_or_release() {
        switch (below(10)) {
        case 0:
            return call(xml_dom_create_element, any(), name());
        case 1:
            return call(xml_dom_create_element_ns, any(), name(), "urn:e");
        case 2:
            return call(xml_dom_create_text_node, any(), text());
        case 3:
            return call(xml_dom_create_attribute, any(), name());
        case 4:
            return below(16) == 0 ? call(xml_dom_free_document, any())
                                  : call(xml_dom_create_text_node, any(), sql::null);
        case 5:
            return call(xml_dom_new_document_clob, k_documents[below(k_documents.size())]);
        case 6:
            return call(xml_dom_free_nodelist, any());
        case 7:
            return call(xml_dom_free_element, any());
        default:
            return call(xml_dom_free_node, any());
        }
    }

    std::mt19937 random_;
    std::vector<sql::handle> ring_;
    int succeeded_ = 0;
};

TEST_P(change_sequences, keep_the_invariants) {
    const sql::node_watch watch;
    host::standalone::begin_session();
    {
        sequence played(static_cast<unsigned>(GetParam()) * 7919U + 1U);
        played.run();
        EXPECT_GT(played.succeeded(), k_fewest_results);
    }
    const host::standalone::session_remains remains = host::standalone::end_session();
    EXPECT_TRUE(remains.nothing());
}

INSTANTIATE_TEST_SUITE_P(seeds, change_sequences, ::testing::Range(0, k_seeds));

} // namespace
