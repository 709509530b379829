// The canonical form beside libxml2's own: the same bytes, for random documents and for every
// element in them, in every form.
#include "canonical_beside.hpp"
#include "tree/node_words.hpp"

#include <cstdio>

namespace {

using namespace canonical_beside;
using pkg_dbe_xml::node_words;

class canonical_random : public sql::session_test {};

TEST_F(canonical_random, documents_and_subtrees_as_by_libxml2) {
    compared sums;
    int differing = 0;
    for (std::uint32_t seed = 0; seed < 250 && differing < 5; ++seed) {
        const std::string text = random_document(seed).text();
        const sql::result parsed = sql::call(xmldom_parse_text, text);
        ASSERT_FALSE(parsed.failed()) << parsed.error().context << "\n" << text;
        const host::xml_scope scope;
        const auto report = [&](xmlNodePtr top, const form &wanted, const std::string &ours,
                                const std::string &theirs) {
            ++differing;
            ADD_FAILURE() << "seed " << seed << ", " << wanted.name << ", "
                          << node_words(top).view() << "\nours   " << ours << "\ntheirs " << theirs
                          << "\nof " << text;
        };
        sums += compare_all(trees::document_of(parsed.handle()), report);
    }
    EXPECT_GT(sums.pairs, 10000U);
    EXPECT_EQ(sums.refused, 0U);
    std::printf("             %zu pairs, %zu bytes\n", sums.pairs, sums.bytes);
}

} // namespace
