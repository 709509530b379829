// The work that a parse may do: documents whose parts multiply end at the setting, counted in
// steps; honest ones come nowhere near it. And nothing is lost where work is saved.
#include "parsing.hpp"

#include "standalone_session.hpp"

#include <libxml/hash.h>
#include <libxml/valid.h>

#include <functional>

// The table of references is not for everyone in later versions.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

using namespace parsing;

std::string with_type(std::string_view declarations, std::string_view content) {
    return "<!DOCTYPE a [" + std::string(declarations) + "]>" + std::string(content);
}

// --- documents whose parts multiply -------------------------------------------------------------

struct multiplying {
    const char *name;
    std::function<std::string()> text;
    bool early_libxml2 = false; // later versions do no more work for it than for any other
};

void PrintTo(const multiplying &document, std::ostream *out) { *out << document.name; }

const multiplying k_multiplying[] = {
    {"namespaces_by_default",
     [] {
         return with_type("<!ATTLIST a " + numbered("xmlns:p", 3000, " CDATA 'u' ") + ">",
                          repeat("<a>", 200) + repeat("</a>", 200));
     }},
    {"required_attributes",
     [] {
         return with_type("<!ELEMENT a ANY><!ELEMENT b EMPTY><!ATTLIST b " +
                              numbered("c", 5000, " CDATA #REQUIRED ") + ">",
                          "<a>" + repeat("<b/>", 1000) + "</a>");
     }},
    {"implied_attributes",
     [] {
         return with_type("<!ELEMENT a ANY><!ELEMENT b EMPTY><!ATTLIST b " +
                              numbered("c", 9900, " CDATA #IMPLIED ") + ">",
                          "<a>" + repeat("<b/>", 2000) + "</a>");
     }},
    {"id_attributes_of_many_types",
     [] { return with_type(numbered("<!ATTLIST n", 10000, " a ID #IMPLIED>"), "<a/>"); }},
    {"mixed_model",
     [] {
         return with_type("<!ELEMENT a (#PCDATA|" + numbered("n", 4989, "|") +
                              "b)*><!ELEMENT b EMPTY>",
                          "<a>" + repeat("<b/>", 10000) + "</a>");
     }},
    {"equal_names_in_a_model",
     [] { return with_type("<!ELEMENT a (#PCDATA|" + repeat("b|", 4900) + "z)*>", "<a/>"); }},
    {"model_of_alternatives",
     [] {
         return with_type("<!ELEMENT a (" + numbered("n", 240, "|") + "b)*><!ELEMENT b EMPTY>",
                          "<a>" + repeat("<b/>", 100000) + "</a>");
     }},
    {"many_models",
     [] {
         return with_type(numbered("<!ELEMENT n", 60, " (" + numbered("m", 240, "|") + "z)*>") +
                              "<!ELEMENT a ANY>",
                          "<a>" + numbered("<n", 60, "/>") + "</a>");
     }},
    {"values_of_an_attribute",
     [] {
         return with_type("<!ELEMENT a ANY><!ATTLIST a b (" + numbered("n", 1000, "|") +
                              "z) #IMPLIED>",
                          "<a>" + repeat("<a b='z'/>", 20000) + "</a>");
     }},
    {"lists_of_values",
     [] {
         std::string text;
         for (int i = 0; i < 40; ++i) {
             text += "<!ATTLIST a b" + std::to_string(i) + " (" + numbered("n", 700, "|") +
                     "z) #IMPLIED>";
         }
         return with_type(text, "<a/>");
     },
     true},
    {"attributes",
     [] { return "<a>" + repeat("<b " + numbered("c", 1000, "='' ") + "/>", 40) + "</a>"; }},
    {"declared_namespaces",
     [] { return "<a>" + repeat("<b " + numbered("xmlns:c", 5000, "='u' ") + "/>", 5) + "</a>"; }},
    {"namespaces_in_scope",
     [] {
         return "<a " + numbered("xmlns:p", 5000, "='u' ") + ">" + repeat("<p4999:b/>", 5000) +
                "</a>";
     }},
    {"namespace_far_above",
     [] {
         return "<q:r xmlns:q='v'>" + repeat("<a>", 2000) + repeat("<q:b q:c=''/>", 20000) +
                repeat("</a>", 2000) + "</q:r>";
     }},
    {"distinct_names", [] { return "<a>" + numbered("<n", 120000, "/>") + "</a>"; }, true},
    {"errors",
     [] { return with_type("<!ELEMENT b EMPTY>", "<a>" + repeat("<c/>", 200000) + "</a>"); }},
};

class work_of_a_parse : public sql::session_test,
                        public ::testing::WithParamInterface<multiplying> {};

// What 10,000 errors are charged: an element has no more attributes that could be missing.
constexpr std::int64_t k_errors_of_one_step = 10000 * 500;

constexpr int k_small_limit = 40; // millions of steps, for documents that are small in proportion

TEST_P(work_of_a_parse, ends_at_the_setting) {
#if LIBXML_VERSION >= 21200
    if (GetParam().early_libxml2) {
        GTEST_SKIP() << "nothing multiplies with this libxml2";
    }
#endif
    const std::string text = GetParam().text();
    const limits_kept kept;
    host::parse_limits.work = k_small_limit;
    const outcome result = parse(text, k_validating_parser_options);
    EXPECT_EQ(result.document, nullptr);
    ASSERT_STREQ(result.notes.limit, "pkg_dbe_xml.parse_work") << result.notes.first_error;
    EXPECT_STREQ(result.notes.first_error, "the limit pkg_dbe_xml.parse_work = 40");
    EXPECT_NE(parse("<a/>").document, nullptr);
}

TEST_P(work_of_a_parse, is_no_more_than_allowed) {
    const std::string text = GetParam().text();
    const outcome result = parse(text, k_validating_parser_options);
    const std::int64_t allowed = host::parse_limits.work * 1000000LL +
                                 host::k_work_per_byte * static_cast<std::int64_t>(text.size());
    EXPECT_LE(result.notes.work, allowed + k_errors_of_one_step);
}

INSTANTIATE_TEST_SUITE_P(all, work_of_a_parse, ::testing::ValuesIn(k_multiplying),
                         [](const auto &chosen) { return std::string(chosen.param.name); });

// --- honest documents ---------------------------------------------------------------------------

class honest_work : public sql::session_test {};

// A document type as large ones are: hundreds of types, dozens of attributes each, mixed models of
// a hundred names.
std::string large_type() {
    const std::string attributes = numbered("common", 40, " CDATA #IMPLIED ");
    std::string text;
    for (int i = 0; i < 400; ++i) {
        const std::string name = "t" + std::to_string(i);
        text += "<!ELEMENT " + name + " (#PCDATA|" + numbered("t", 100, "|") + "end)*>" +
                "<!ATTLIST " + name + " id ID #IMPLIED " + attributes + ">";
    }
    return text + "<!ELEMENT end EMPTY>";
}

TEST_F(honest_work, a_large_document_type) {
    const std::string text =
        "<!DOCTYPE t0 [" + large_type() + "]><t0>" +
        numbered("<t1>Some text with <t2 common3='x'>words</t2> in it and <t3 id='i", 10000,
                 "'>more of them</t3> that go on for a while.</t1>\n") +
        "</t0>";
    const outcome result = parse(text, k_validating_parser_options);
    ASSERT_NE(result.document, nullptr) << result.notes.first_error;
    EXPECT_EQ(result.notes.validity_errors, 0U) << result.notes.first_validity;
    const std::int64_t allowed = host::parse_limits.work * 1000000LL +
                                 host::k_work_per_byte * static_cast<std::int64_t>(text.size());
    EXPECT_LT(result.notes.work, allowed / 4);
}

TEST_F(honest_work, usual_documents_do_none) {
    const outcome result = parse("<a xmlns='urn:u' xmlns:p='urn:v'>" +
                                 repeat("<b c='1' p:d='2'>text<p:e/></b>", 20000) + "</a>");
    ASSERT_NE(result.document, nullptr);
    EXPECT_LE(result.notes.work, 500) << "libxml2 says that there is nothing to validate by";
}

// --- where work is saved ------------------------------------------------------------------------

TEST_F(honest_work, identifiers_in_great_numbers) {
    const int count = 100000;
    const std::string text = "<a>" + numbered("<b xml:id='i", count, "'/>") + "</a>";
    const outcome result = parse(text);
    ASSERT_NE(result.document, nullptr) << result.notes.first_error;
    xmlDocPtr const document = result.document.get();
    ASSERT_EQ(xmlHashSize(static_cast<xmlHashTablePtr>(document->ids)), count);
    for (int i = 0; i < count; i += 999) {
        const std::string name = "i" + std::to_string(i);
        const xmlAttr *const found = xmlGetID(document, BAD_CAST name.c_str());
        ASSERT_NE(found, nullptr) << name;
        EXPECT_STREQ(reinterpret_cast<const char *>(found->children->content), name.c_str());
    }
    EXPECT_EQ(xmlGetID(document, BAD_CAST "i"), nullptr);
    EXPECT_LT(result.notes.work, 40 * static_cast<std::int64_t>(text.size()));
}

TEST_F(honest_work, declarations_in_great_numbers) {
    const std::string text =
        with_type(numbered("<!ELEMENT n", 9000, " EMPTY>") +
                      numbered("<!ATTLIST n", 9000, " a NMTOKEN 'v'>") +
                      numbered("<!ENTITY e", 9000, " 'x'>") +
                      numbered("<!NOTATION m", 9000, " SYSTEM 's'>") + "<!ELEMENT a ANY>",
                  "<a>" + numbered("<n", 9000, "/>") + "</a>");
    const outcome result = parse(text, k_validating_parser_options);
    ASSERT_NE(result.document, nullptr) << result.notes.first_error;
    EXPECT_EQ(result.notes.validity_errors, 0U) << result.notes.first_validity;
    const xmlNode *node = xmlDocGetRootElement(result.document.get())->children;
    int count = 0;
    for (; node != nullptr; node = node->next) {
        ASSERT_NE(node->properties, nullptr) << "every default is found";
        ++count;
    }
    EXPECT_EQ(count, 9000);
    EXPECT_NE(xmlGetDocEntity(result.document.get(), BAD_CAST "e8999"), nullptr);
    EXPECT_NE(xmlGetDtdNotationDesc(result.document->intSubset, BAD_CAST "m8999"), nullptr);
}

constexpr const char *k_references =
    "<!ELEMENT a ANY><!ATTLIST a i ID #IMPLIED r IDREF #IMPLIED s IDREFS #IMPLIED>";

TEST_F(honest_work, references_are_all_checked) {
    const std::string valid = with_type(
        k_references, "<a>" + numbered("<a i='i", 2500, "'/>") + numbered("<a r='i", 2500, "'/>") +
                          repeat("<a s='i0 i2499 i7'/>", 1500) + "</a>");
    const outcome good = parse(valid, k_validating_parser_options);
    ASSERT_NE(good.document, nullptr);
    EXPECT_EQ(good.notes.validity_errors, 0U) << good.notes.first_validity;
    EXPECT_NE(good.document->refs, nullptr) << "they are the document's, as ever";

    const std::string dangling = with_type(
        k_references, "<a i='i'>" + numbered("<a r='j", 2501, "'/>") + repeat("<a r='k'/>", 1200) +
                          repeat("<a r='i'/>", 100) + "<a s='i k l'/></a>");
    const outcome bad = parse(dangling, k_validating_parser_options);
    ASSERT_NE(bad.document, nullptr);
    EXPECT_EQ(bad.notes.validity_errors, 2501U + 1200U + 2U);
}

TEST_F(honest_work, what_ends_a_parse_is_told_after_many_errors) {
    const std::string text =
        with_type("<!ELEMENT a ANY>", "<a>" + repeat("<b/>", 300) + "&undeclared;</a>");
    const outcome result = parse(text, k_validating_parser_options);
    EXPECT_EQ(result.document, nullptr);
    EXPECT_STREQ(result.notes.first_error, "Entity 'undeclared' not defined");
    EXPECT_EQ(result.notes.validity_errors, 300U);
}

// --- cancelled ----------------------------------------------------------------------------------

TEST_F(honest_work, checking_references_can_be_stopped) {
    const std::string text = with_type(k_references, "<a>" + repeat("<a r='k'/>", 30000) + "</a>");
    const std::int64_t before = host::standalone::poll_count();
    ASSERT_NE(parse(text, k_validating_parser_options).document, nullptr);
    const std::int64_t with_references = host::standalone::poll_count() - before;
    const std::string without =
        with_type(k_references, "<a>" + repeat("<a t='k'/>", 30000) + "</a>");
    ASSERT_NE(parse(without, k_validating_parser_options).document, nullptr);
    const std::int64_t without_references =
        host::standalone::poll_count() - before - with_references;
    EXPECT_GT(with_references, without_references + 30) << "a look for each thousand at least";
}

} // namespace
