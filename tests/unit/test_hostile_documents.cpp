// Documents that mean harm: each ends in an error that names the limit it met, with little memory;
// honest documents that use the same means pass; nothing outside the text is ever opened.
#include "parsing.hpp"

#include "standalone_session.hpp"

#include <libxml/globals.h>
#include <libxml/xmlmemory.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>

namespace {

using namespace parsing;

constexpr int k_all_options[] = {k_document_options, k_parser_options, k_validating_parser_options};

// --- bombs --------------------------------------------------------------------------------------

// Entities in ten levels, each ten times the one before.
std::string nested(std::string_view innermost, std::string_view use) {
    std::string text = "<!DOCTYPE a [<!ENTITY e0 '" + std::string(innermost) + "'>";
    for (int level = 1; level < 10; ++level) {
        text += "<!ENTITY e" + std::to_string(level) + " '" +
                repeat("&e" + std::to_string(level - 1) + ";", 10) + "'>";
    }
    return text + "]>" + std::string(use);
}

std::string nested_parameters(std::string_view innermost) {
    std::string text = "<!DOCTYPE a [<!ENTITY % p0 '" + std::string(innermost) + "'>";
    for (int level = 1; level < 10; ++level) {
        text += "<!ENTITY % p" + std::to_string(level) + " '" +
                repeat("&#37;p" + std::to_string(level - 1) + ";", 10) + "'>";
    }
    return text + "%p9;]><a/>";
}

std::string model(std::string_view opening, int count, std::string_view particle_end,
                  std::string_view closing) {
    std::string names = numbered("e", count, particle_end);
    names.pop_back();
    return "<!DOCTYPE a [<!ELEMENT a " + std::string(opening) + names + std::string(closing) +
           ">]><a/>";
}

// Each entity holds the one before, under 1,500 levels of its own.
std::string deep_entities(int count) {
    std::string text = "<!DOCTYPE a [<!ENTITY e0 '" + repeat("<b>", 1500) + repeat("</b>", 1500);
    for (int i = 1; i < count; ++i) {
        text += "'><!ENTITY e" + std::to_string(i) + " '" + repeat("<b>", 1500) + "&e" +
                std::to_string(i - 1) + ";" + repeat("</b>", 1500);
    }
    return text + "'>]><a>" + numbered("&e", count, ";") + "</a>";
}

struct hostile {
    const char *name;
    std::function<std::string()> text;
    const char *limit; // the beginning of the setting's name; null: libxml2 itself refuses it
    std::vector<int> options{std::begin(k_all_options), std::end(k_all_options)};
    int budget_base = 0; // kilobytes, nothing for the text's own size; 0: the budget that is usual

    void set_budget() const {
        if (budget_base != 0) {
            host::parse_limits.budget_base = budget_base;
            host::parse_limits.budget_factor = 0;
        }
    }
};

void PrintTo(const hostile &document, std::ostream *out) { *out << document.name; }

constexpr const char *k_budget = "pkg_dbe_xml.parse_budget_";

const hostile k_hostile[] = {
    {"nested_in_content", [] { return nested("xxxxxxxxxx", "<a>&e9;</a>"); }, k_budget},
    {"nested_in_attribute", [] { return nested("xxxxxxxxxx", "<a b='&e9;'/>"); }, k_budget},
    {"nested_elements", [] { return nested("<b/>", "<a>&e9;</a>"); }, k_budget},
    {"nested_elements_and_text", [] { return nested("x<b/>", "<a>&e9;</a>"); }, k_budget},
    {"nested_empty", [] { return nested("", "<a>&e9;</a>"); }, k_budget},
    {"nested_empty_in_attribute", [] { return nested("", "<a b='&e9;'/>"); }, k_budget},
    {"nested_in_default_value",
     [] {
         std::string text = nested("xxxxxxxxxx", "<a/>");
         return text.insert(text.find("]>"), "<!ATTLIST a b CDATA '&e9;'>");
     },
     k_budget},
    {"quadratic_in_content",
     [] {
         return "<!DOCTYPE a [<!ENTITY e '" + repeat("x", 20000) + "'>]><a>" + repeat("&e;", 6600) +
                "</a>";
     },
     k_budget},
    {"quadratic_in_attribute",
     [] {
         return "<!DOCTYPE a [<!ENTITY e '" + repeat("x", 20000) + "'>]><a b='" +
                repeat("&e;", 6600) + "'/>";
     },
     k_budget},
    {"parameter_entities", [] { return nested_parameters("<!-- -->"); }, k_budget},
    {"attribute_defaults",
     [] {
         return "<!DOCTYPE a [<!ATTLIST b c CDATA '" + repeat("x", 20000) + "'>]><a>" +
                repeat("<b/>", 6600) + "</a>";
     },
     k_budget,
     {k_parser_options, k_validating_parser_options}},
    {"many_attribute_defaults",
     [] {
         return "<!DOCTYPE a [<!ATTLIST b " + numbered("c", 1000, " CDATA 'x' ") + ">]><a>" +
                repeat("<b/>", 5000) + "</a>";
     },
     "pkg_dbe_xml.parse_work"},
    {"attribute_declarations",
     [] { return "<!DOCTYPE a [<!ATTLIST a " + numbered("c", 60000, " CDATA 'x' ") + ">]><a/>"; },
     "pkg_dbe_xml.max_attributes"},
    {"id_attributes",
     [] {
         return "<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a " +
                numbered("c", 9000, " ID #IMPLIED ") + ">]><a/>";
     },
     k_budget},
#if LIBXML_VERSION < 21400 // later versions do not compare each value with each
    {"value_lists",
     [] {
         return "<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a b (e" + numbered("|e", 60000, "") +
                ") #IMPLIED>]><a/>";
     },
     k_budget},
#endif
    {"model_of_optional_particles", [] { return model("(", 3000, "?,", ")"); },
     "pkg_dbe_xml.max_content_particles"},
    {"model_of_choices", [] { return model("(", 3000, "|", ")*"); },
     "pkg_dbe_xml.max_content_particles"},
    {"mixed_model", [] { return model("(#PCDATA|", 6000, "|", ")*"); },
     "pkg_dbe_xml.max_content_particles"},
    {"many_models",
     [] {
         std::string text = "<!DOCTYPE a [";
         const std::string names = numbered("e", 499, "?,") + "e";
         for (int i = 0; i < 20; ++i) {
             text += "<!ELEMENT b" + std::to_string(i) + " (" + names + ")>";
         }
         return text + "]><a>" + numbered("<b", 20, "/>") + "</a>";
     },
     k_budget},
    {"nested_groups",
     [] {
         return "<!DOCTYPE a [<!ELEMENT a " + repeat("(", 3000) + "b" + repeat(")", 3000) +
                ">]><a/>";
     },
     nullptr},
    {"deep", [] { return repeat("<a>", 100000) + repeat("</a>", 100000); },
     "pkg_dbe_xml.max_depth"},
    {"deep_without_end", [] { return repeat("<a>", 100000); }, "pkg_dbe_xml.max_depth"},
    {"deep_through_entities", [] { return deep_entities(50); }, "pkg_dbe_xml.max_depth"},
    {"attributes", [] { return "<a" + numbered(" b", 64000, "=''") + "/>"; },
     "pkg_dbe_xml.max_attributes"},
    {"namespaces", [] { return "<a" + numbered(" xmlns:b", 64000, "='u'") + "/>"; },
     "pkg_dbe_xml.max_attributes"},
    {"long_element_name", [] { return "<" + repeat("n", 20000000) + "/>"; }, nullptr},
    {"long_attribute_name", [] { return "<a " + repeat("n", 20000000) + "=''/>"; }, nullptr},
    {"recursive_entities",
     [] { return std::string("<!DOCTYPE a [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><a>&a;</a>"); },
     nullptr},
    {"recursive_entities_in_attribute",
     [] { return std::string("<!DOCTYPE a [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><a c='&a;'/>"); },
     nullptr},
    {"appended_references",
     [] {
         return "<!DOCTYPE a [<!ENTITY e '" + repeat("x", 100) + "'>]><a>" + repeat("&e;", 30000) +
                "</a>";
     },
     k_budget,
     {std::begin(k_all_options), std::end(k_all_options)},
     1024}, // libxml2 may copy the text for each reference
};

class hostile_documents : public sql::session_test,
                          public ::testing::WithParamInterface<hostile> {};

TEST_P(hostile_documents, end_in_an_error_that_names_the_limit) {
    const std::string text = GetParam().text();
    const limits_kept kept;
    GetParam().set_budget();
    for (const int options : GetParam().options) {
        const std::int64_t before = host::gate.bytes_in_use;
        stderr_watch watch;
        const outcome result = parse(text, options);
        EXPECT_EQ(result.document, nullptr);
        EXPECT_STRNE(result.notes.first_error, "");
        EXPECT_GE(result.notes.line, 1);
        if (GetParam().limit == nullptr) {
            EXPECT_EQ(result.notes.limit, nullptr);
        } else {
            ASSERT_NE(result.notes.limit, nullptr) << result.notes.first_error;
            EXPECT_TRUE(std::string_view(result.notes.limit).starts_with(GetParam().limit))
                << result.notes.limit;
            EXPECT_NE(std::string_view(result.notes.first_error).find(result.notes.limit),
                      std::string_view::npos);
        }
        EXPECT_EQ(host::gate.bytes_in_use, before) << "bytes were lost";
        EXPECT_EQ(watch.printed(), "");
        EXPECT_NE(parse("<a/>").document, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(all, hostile_documents, ::testing::ValuesIn(k_hostile),
                         [](const auto &chosen) { return std::string(chosen.param.name); });

// --- where nobody may stand in libxml2's allocations
// ----------------------------------------------

// Takes the gate out of libxml2 and puts it back. Blocks are the heap's either way.
class gate_taken_out {
  public:
    gate_taken_out() {
        { const host::xml_scope installs; }
        xmlMemGet(&free_, &malloc_, &realloc_, &strdup_);
        xmlMemSetup(std::free, std::malloc, std::realloc, strdup);
    }
    ~gate_taken_out() {
        xmlMemSetup(free_, malloc_, realloc_, strdup_);
        host::gate.bytes_in_use = 0;
    }
    gate_taken_out(const gate_taken_out &) = delete;
    gate_taken_out &operator=(const gate_taken_out &) = delete;

  private:
    xmlFreeFunc free_ = nullptr;
    xmlMallocFunc malloc_ = nullptr;
    xmlReallocFunc realloc_ = nullptr;
    xmlStrdupFunc strdup_ = nullptr;
};

class without_the_gate : public sql::session_test {
  protected:
    void SetUp() override {
        session_test::SetUp();
        gate_.emplace();
    }
    void TearDown() override {
        gate_.reset();
        session_test::TearDown();
    }

  private:
    std::optional<gate_taken_out> gate_;
};

TEST_F(without_the_gate, limits_are_kept_by_what_the_parser_reports) {
    EXPECT_FALSE(host::gate_in_force());
    for (const hostile &document : k_hostile) {
        if (document.limit == nullptr) {
            continue;
        }
        const limits_kept kept;
        document.set_budget();
        const outcome result = parse(document.text(), document.options.front());
        EXPECT_EQ(result.document, nullptr) << document.name;
        EXPECT_NE(result.notes.limit, nullptr) << document.name;
    }
}

TEST_F(without_the_gate, honest_documents_parse) {
    EXPECT_NE(parse("<a b='c'>text</a>").document, nullptr);
    EXPECT_NE(parse("<a>" + repeat("<a/>x", 100000) + "</a>").document, nullptr);
    EXPECT_NE(
        parse("<!DOCTYPE a [<!ENTITY e 'x'>]><a>" + repeat("<b>&e;</b>", 50000) + "</a>").document,
        nullptr);
}

// --- honest documents that use the same means ---------------------------------------------------

class honest_documents : public sql::session_test {
  protected:
    static void expect_parsed(const std::string &text) {
        for (const int options : k_all_options) {
            const outcome result = parse(text, options);
            EXPECT_NE(result.document, nullptr) << result.notes.first_error;
            EXPECT_EQ(result.notes.limit, nullptr);
        }
    }
};

// A book of chapters that are entities, full of small entities for names and signs.
TEST_F(honest_documents, a_book_made_of_entities) {
    std::string text = "<?xml version='1.0'?>\n<!DOCTYPE book [\n";
    text += "<!ENTITY product 'The &quot;Example&quot; System'>\n<!ENTITY version '12.3'>\n";
    text += "<!ENTITY full '&product; &version; <trademark>TM</trademark>'>\n";
    text += "<!ENTITY legal '" +
            repeat("<para>All rights of &full; are reserved, see &product;.</para>\n", 40) + "'>\n";
    for (int i = 0; i < 30; ++i) {
        text += "<!ENTITY chapter" + std::to_string(i) + " '<chapter><title>&full;</title>" +
                repeat("<para>&product; does &version; things &mdash; <b>&full;</b></para>\n", 60) +
                "&legal;</chapter>'>\n";
    }
    text += "<!ENTITY mdash '&#8212;'>\n]>\n<book>" + numbered("&chapter", 30, ";\n") +
            repeat("<para b='&product; &version;'>&full; &mdash; &legal;</para>\n", 50) + "</book>";
    expect_parsed(text);
    const outcome result = parse(text);
    EXPECT_GT(root_text(result).size(), 300000U);
}

TEST_F(honest_documents, the_worst_ratio_without_entities) {
    expect_parsed("<a>" + repeat("<a/>x", 400000) + "</a>");
    expect_parsed("<a>" + repeat("<a b=''/>x", 200000) + "</a>");
    expect_parsed("<a>" + repeat("<?p?>x<!---->", 100000) + "</a>");
}

TEST_F(honest_documents, entities_in_great_numbers) {
    expect_parsed("<!DOCTYPE a [<!ENTITY e 'x'>]><a>" + repeat("<b c='&e;&e;'>&e;</b>", 100000) +
                  "</a>");
    expect_parsed("<!DOCTYPE a [<!ENTITY e 'x'>]><a>" + repeat("&e;", 50000) + "</a>");
    expect_parsed("<a>" + repeat("&amp;&#65;&lt;", 500000) + "</a>");
}

TEST_F(honest_documents, limits_are_met_exactly) {
    expect_parsed(repeat("<a>", 2048) + repeat("</a>", 2048));
    expect_parsed("<a" + numbered(" b", 10000, "=''") + "/>");
    expect_parsed(model("(", 500, ",", ")"));
    expect_parsed(model("(#PCDATA|", 4999, "|", ")*"));
    EXPECT_EQ(parse(repeat("<a>", 2049) + repeat("</a>", 2049)).document, nullptr);
    EXPECT_EQ(parse("<a" + numbered(" b", 10001, "=''") + "/>").document, nullptr);
    EXPECT_EQ(parse(model("(", 501, ",", ")")).document, nullptr);
}

TEST_F(honest_documents, long_declarations) {
    expect_parsed("<!DOCTYPE a [<!-- " + repeat("x", 2000000) + " --><!ENTITY e '" +
                  repeat("y", 1000000) + "'>]><a>&e;</a>");
    expect_parsed("<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a b (e" + numbered("|e", 3000, "") +
                  ") #IMPLIED>]><a b='e'/>");
    expect_parsed("<" + repeat("n", 1000000) + "/>");
}

// --- limits as settings -------------------------------------------------------------------------

class parse_limits : public sql::session_test {
  private:
    limits_kept kept_;
};

TEST_F(parse_limits, depth) {
    host::parse_limits.max_depth = 3;
    EXPECT_NE(parse("<a><a><a/></a></a>").document, nullptr);
    const outcome result = parse("<a><a>\n<a><a/></a></a></a>");
    EXPECT_EQ(result.document, nullptr);
    EXPECT_STREQ(result.notes.limit, "pkg_dbe_xml.max_depth");
    EXPECT_STREQ(result.notes.first_error, "the limit pkg_dbe_xml.max_depth = 3");
    EXPECT_EQ(result.notes.line, 2);
    EXPECT_GT(result.notes.column, 0);
    host::parse_limits.max_depth = 2000000;
    const std::string deep = repeat("<a>", 300000) + repeat("</a>", 300000);
#if LIBXML_VERSION < 21300
    EXPECT_NE(parse(deep).document, nullptr);
#else
    EXPECT_EQ(parse(deep).document, nullptr);
#endif
}

TEST_F(parse_limits, depth_counts_what_entities_bring) {
    host::parse_limits.max_depth = 4;
    const std::string entities = "<!DOCTYPE a [<!ENTITY e '<b><b/></b>'><!ENTITY f '<b>&e;</b>'>]>";
    EXPECT_NE(parse(entities + "<a>&e;&e;<a>&e;</a></a>").document, nullptr);
    EXPECT_NE(parse(entities + "<a>&e;&f;&f;</a>").document, nullptr);
    EXPECT_EQ(parse(entities + "<a>&e;<a><a>&e;</a></a></a>").document, nullptr);
    EXPECT_EQ(parse(entities + "<a>&f;<a>&f;</a></a>").document, nullptr);
    EXPECT_EQ(parse(entities + "<a><a>&f;</a></a>").document, nullptr);
}

TEST_F(parse_limits, particles_and_attributes) {
    host::parse_limits.max_particles = 3;
    host::parse_limits.max_attributes = 2;
    EXPECT_NE(parse("<!DOCTYPE a [<!ELEMENT a (b,(c|d))>]><a b='' c=''/>").document, nullptr);
    EXPECT_STREQ(parse("<!DOCTYPE a [<!ELEMENT a (b,(c|d),e)>]><a/>").notes.limit,
                 "pkg_dbe_xml.max_content_particles");
    EXPECT_STREQ(parse("<a b='' c='' d=''/>").notes.limit, "pkg_dbe_xml.max_attributes");
    EXPECT_STREQ(
        parse("<!DOCTYPE a [<!ATTLIST a b CDATA '' c CDATA '' d CDATA ''>]><a/>").notes.limit,
        "pkg_dbe_xml.max_attributes");
}

TEST_F(parse_limits, budget_without_entities) {
    host::parse_limits.budget_base = 64;
    host::parse_limits.budget_factor = 10;
    const std::int64_t before = host::gate.bytes_in_use;
    EXPECT_NE(parse("<a/>").document, nullptr);
    const std::string dense = "<a>" + repeat("<a/>x", 20000) + "</a>";
    const outcome by_factor = parse(dense);
    EXPECT_EQ(by_factor.document, nullptr);
    EXPECT_STREQ(by_factor.notes.limit, "pkg_dbe_xml.parse_budget_factor");
    EXPECT_STREQ(by_factor.notes.first_error, "the limit pkg_dbe_xml.parse_budget_factor = 10");
    host::parse_limits.budget_base = 2000;
    EXPECT_STREQ(parse(dense).notes.limit, "pkg_dbe_xml.parse_budget_base");
    host::parse_limits.budget_base = 65536;
    EXPECT_NE(parse(dense).document, nullptr);
    EXPECT_EQ(host::gate.bytes_in_use, before);
}

TEST_F(parse_limits, budget_is_per_parse) {
    host::parse_limits.budget_base = 1024;
    host::parse_limits.budget_factor = 0;
    std::vector<outcome> kept;
    for (int i = 0; i < 20; ++i) {
        kept.push_back(parse("<a>" + repeat("<b/>", 3000) + "</a>"));
        EXPECT_NE(kept.back().document, nullptr);
    }
    EXPECT_GT(host::gate.bytes_in_use, 2 * 1024 * 1024);
}

// --- nothing outside the text -------------------------------------------------------------------

// A named pipe that nobody writes to: whoever opens it to read can be seen, and without this
// reader's own descriptor would hang.
class watched_pipe {
  public:
    watched_pipe() {
        char name[] = "/tmp/pkg_dbe_xml_pipe_XXXXXX";
        directory_ = mkdtemp(name);
        path_ = directory_ + "/pipe";
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    }
    ~watched_pipe() {
        unlink(path_.c_str());
        rmdir(directory_.c_str());
    }
    watched_pipe(const watched_pipe &) = delete;
    watched_pipe &operator=(const watched_pipe &) = delete;
    [[nodiscard]] const std::string &path() const { return path_; }
    // The time of the last change of state: opening and reading touch it.
    [[nodiscard]] timespec last_access() const {
        struct stat state {};
        EXPECT_EQ(stat(path_.c_str(), &state), 0);
        return state.st_atim;
    }

  private:
    std::string directory_, path_;
};

std::vector<std::string> names_of(const std::string &path) {
    return {path,
            "file://" + path,
            "file://localhost" + path,
            "../../../../../../../.." + path,
            "http://localhost:1/x",
            "ftp://localhost:1/x",
            "//localhost/share/x",
            "\\\\localhost\\share\\x",
            "jar:file://" + path + "!/x",
            "relative.dtd"};
}

// Documents that refer to a name; each must parse.
std::vector<std::string> documents_that_name(const std::string &name) {
    return {
        "<!DOCTYPE a SYSTEM '" + name + "'><a/>",
        "<!DOCTYPE a PUBLIC '-//x//DTD x//EN' '" + name + "'><a/>",
        "<!DOCTYPE a SYSTEM '" + name + "' [<!ELEMENT a ANY>]><a/>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM '" + name + "'>]><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY e PUBLIC 'p' '" + name + "'>]><a>&e;<b>&e;</b></a>",
        "<!DOCTYPE a [<!ENTITY % e SYSTEM '" + name + "'>%e;]><a/>",
        "<!DOCTYPE a [<!ENTITY % e PUBLIC 'p' '" + name + "'>%e;<!ENTITY f 'g'>]><a/>",
        "<!DOCTYPE a [<!NOTATION n SYSTEM '" + name + "'><!ENTITY e SYSTEM '" + name +
            "' NDATA n><!ATTLIST a b ENTITY #IMPLIED>]><a b='e'/>",
        "<?oasis-xml-catalog catalog='" + name + "'?><!DOCTYPE a SYSTEM 'b'><a/>",
        "<?xml-stylesheet href='" + name + "' type='text/xsl'?><a/>",
        "<a xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include href='" + name + "'/></a>",
        "<a xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include parse='text' href='" + name +
            "'><xi:fallback/></xi:include></a>",
        "<a xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:schemaLocation='u " + name +
            "'/>",
        "<a xml:base='" + name + "'/>",
    };
}

class outside_the_text : public sql::session_test {};

TEST_F(outside_the_text, nothing_is_opened_and_documents_parse) {
    const watched_pipe pipe;
    const timespec before = pipe.last_access();
    for (const std::string &name : names_of(pipe.path())) {
        for (const std::string &text : documents_that_name(name)) {
            for (const int options : k_all_options) {
                alarm(60); // an open of the pipe would wait for ever
                const outcome result = parse(text, options);
                if (result.document == nullptr) {
                    // libxml2 takes no notice of declarations that name no URI.
                    EXPECT_NE(name.find('\\'), std::string::npos) << text;
                    EXPECT_NE(text.find("e;"), std::string::npos) << text;
                    continue;
                }
                EXPECT_EQ(result.document->extSubset, nullptr);
                EXPECT_EQ(root_text(result), "") << text;
            }
        }
    }
    alarm(0);
    EXPECT_EQ(pipe.last_access().tv_sec, before.tv_sec);
    EXPECT_EQ(pipe.last_access().tv_nsec, before.tv_nsec);
}

TEST_F(outside_the_text, identifiers_are_written_as_they_were) {
    const std::string declaration = "<!DOCTYPE a PUBLIC \"p\" \"file:///etc/passwd\" [\n"
                                    "<!ENTITY e SYSTEM \"file:///etc/passwd\">\n"
                                    "<!ENTITY f PUBLIC \"p\" \"x.xml\">\n]>\n";
    EXPECT_EQ(written(parse(declaration + "<a>&e;&f;</a>").document.get()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + declaration + "<a/>\n");
}

TEST_F(outside_the_text, what_only_an_external_entity_declares_is_unknown) {
    EXPECT_NE(parse("<!DOCTYPE a [<!ENTITY % e SYSTEM 'x'>%e;]><a>&f;</a>").notes.first_error[0],
              '\0');
}

} // namespace
