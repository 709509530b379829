// Every function of the packages that changes, makes, writes or reads text, with every allocation,
// conversion and fetching of a value failing, one at a time: it is reported, nothing is half
// changed, nothing is left, and the same call made again does what it would have done.
#include "package_calls.hpp"
#include "support/faults.hpp"

#include "standalone_faults.hpp"

#include <cstdio>
#include <memory>
#include <optional>

namespace {

using namespace package_calls;
namespace standalone = host::standalone;

constexpr const char *k_document =
    "<?xml version='1.0' encoding='UTF-8'?><!DOCTYPE r [<!ENTITY e 'ent &#233; ity'>"
    "<!ATTLIST r d CDATA 'default' i ID #IMPLIED>]><r xmlns:p='urn:p' a='1' p:b='2 &#233;' i='x'>"
    "<c>text</c><!--comment--><?target data?><![CDATA[cdata]]>tail<p:d e='3'/></r>";

std::string shown(const sql::function entry, const sql::result &outcome) {
    if (outcome.is_null()) {
        return "null";
    }
    return entry == xmldom_to_large_object || entry == xmldom_canonical_to_large_object
               ? std::to_string(outcome.datum())
               : outcome.stored_bytes();
}

// What a scenario is played in: made anew for each round.
struct stage {
    std::optional<world> trees;
    std::vector<sql::value> arguments;
};

// 2.11 and 2.12 lose the copy of a declaration for which there is no room in the table of a copied
// document type (xmlHashCopy).
constexpr std::int64_t k_lost_declaration =
    LIBXML_VERSION >= 21100 && LIBXML_VERSION < 21300 ? 1024 : 0;

// With which arguments a call is made.
enum class variant {
    good,
    other_handles, // handles of the long-named functions, so that the results are made
    beyond_ascii,  // texts with a letter that other encodings write otherwise
};

bool makes_name(sql::function entry) {
    return entry == xmldom_create_element || entry == xmldom_create_attribute ||
           entry == xmldom_set_attribute || entry == xmldom_new_document ||
           entry == xmldom_create_processing_instruction;
}

bool makes_namespace(sql::function entry) {
    return entry == xmldom_create_element_ns || entry == xmldom_create_attribute_ns ||
           entry == xmldom_set_attribute_ns || entry == xmldom_rename_node ||
           entry == xmldom_new_document;
}

// Whether an argument may hold any letter and the call is still to succeed.
bool takes_letters(const changing_call &called, std::size_t index) {
    if (called.entry == xmldom_set_doctype) {
        return index == 2; // the system identifier
    }
    const char kind = called.arguments[index];
    return kind == 'd' || (kind == 'n' && makes_name(called.entry)) ||
           (kind == 'u' && makes_namespace(called.entry));
}

std::vector<sql::value> arguments_of(const changing_call &called, const world &w, variant form,
                                     const std::string &encoding) {
    std::vector<sql::value> arguments = called.good(w);
    const std::string letter = encoding == "UTF8" ? "\u00e9" : "\xe9";
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const char kind = called.arguments[index];
        if (form == variant::other_handles && kind == 'h') {
            const sql::result other = sql::call(xml_dom_makenode, arguments[index]);
            if (!other.failed()) { // it was no map
                arguments[index] = other.handle();
            }
        } else if (form == variant::beyond_ascii && takes_letters(called, index)) {
            arguments[index] = "mad" + letter;
        }
    }
    return arguments;
}

sql::scenario scenario_of(const changing_call &called, variant form, const char *encoding) {
    auto set = std::make_shared<stage>();
    sql::scenario played;
    played.name = called.name;
    played.database_encoding = encoding;
    played.prepare = [set, &called, form, encoding] {
        set->trees.emplace();
        set->arguments = arguments_of(called, *set->trees, form, encoding);
    };
    played.run = [set, &called] { return sql::call_with(called.entry, set->arguments); };
    played.state = [set] { return set->trees->state(); };
    played.libxml2_may_lose = called.entry == xmldom_new_document ? k_lost_declaration : 0;
    played.shown = [&called](const sql::result &outcome) { return shown(called.entry, outcome); };
    return played;
}

sql::sweep_figures sweep_all(standalone::service which, variant form = variant::good,
                             const char *encoding = "UTF8") {
    sql::sweep_figures figures;
    for (const changing_call &called : k_calls) {
        figures += sql::sweep_failures(scenario_of(called, form, encoding), which);
    }
    std::printf("             %lld injected, %lld reported, %lld harmless\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported),
                static_cast<long long>(figures.harmless));
    return figures;
}

TEST(package_faults, allocations_of_the_host) {
    EXPECT_GT(sweep_all(standalone::service::allocation).reported, 30);
    EXPECT_GT(sweep_all(standalone::service::allocation, variant::other_handles).reported, 60);
}

TEST(package_faults, allocations_of_libxml2) {
    EXPECT_GT(sweep_all(standalone::service::libxml2_allocation).reported, 100);
    EXPECT_GT(sweep_all(standalone::service::libxml2_allocation, variant::beyond_ascii).reported,
              100);
}

TEST(package_faults, conversions_and_their_allocations) {
    constexpr variant k_converted = variant::beyond_ascii;
    EXPECT_GT(sweep_all(standalone::service::conversion, k_converted, "LATIN1").reported, 45);
    EXPECT_GT(sweep_all(standalone::service::allocation, k_converted, "LATIN1").reported, 80);
}

TEST(package_faults, fetching_values) {
    EXPECT_GT(sweep_all(standalone::service::detoast).reported, 30);
}

TEST(package_faults, large_objects) {
    EXPECT_GE(sweep_all(standalone::service::large_object).reported, 3);
}

// --- text in ------------------------------------------------------------------------------------

sql::scenario parsing(const char *name, sql::function entry, const sql::value &source,
                      const char *encoding) {
    sql::scenario played;
    played.name = name;
    played.database_encoding = encoding;
    played.run = [entry, source] { return sql::call(entry, source, "keep"); };
    played.state = [] { return std::to_string(pkg_dbe_xml::xml_count_hashentries()); };
    played.shown = [](const sql::result &outcome) {
        return outcome.failed() ? outcome.error().message
                                : trees::written(trees::node_of(outcome.handle()));
    };
    played.all_or_nothing = false; // a document more each time it is parsed
    return played;
}

TEST(package_faults, text_in) {
    const std::string_view text(k_document);
    const sql::raw bytes{{text.begin(), text.end()}};
    sql::sweep_figures figures;
    for (const auto service :
         {standalone::service::allocation, standalone::service::libxml2_allocation,
          standalone::service::conversion, standalone::service::detoast}) {
        for (const char *encoding : {"UTF8", "LATIN1"}) {
            figures += sql::sweep_failures(
                parsing("parse", xmldom_parse_text, k_document, encoding), service);
            figures += sql::sweep_failures(
                parsing("parse of bytes", xmldom_parse_bytes, bytes, encoding), service);
        }
    }
    EXPECT_GT(figures.reported, 400);
    std::printf("             %lld injected, %lld reported, %lld harmless\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported),
                static_cast<long long>(figures.harmless));
}

} // namespace
