// Failures at single places, each met with just the tree or the text that leads there: the sweeps
// over all functions work on one document and do not come by.
#include "libxml/xml_parse_run.hpp"
#include "standalone_faults.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "trees.hpp"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

namespace {

namespace standalone = host::standalone;
namespace fs = std::filesystem;

template <class... Argument> sql::handle made(sql::function entry, const Argument &...arguments) {
    return sql::call(entry, arguments...).handle();
}

std::string written(const sql::handle &document) {
    return sql::call(xml_dom_write_to_clob_doc, document).text();
}

// What a call is made with.
struct arguments {
    sql::handle document, first, second;
};

// Sweeps failures of one service through a call that changes `document`.
sql::sweep_figures sweep(standalone::service which, std::function<void(arguments &)> prepare,
                         std::function<sql::result(const arguments &)> run) {
    auto with = std::make_shared<arguments>();
    sql::scenario played;
    played.name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    played.prepare = [with, prepare = std::move(prepare)] { prepare(*with); };
    played.run = [with, run = std::move(run)] { return run(*with); };
    played.state = [with] { return written(with->document); };
    return sql::sweep_failures(played, which);
}

sql::sweep_figures sweep_libxml2(std::function<void(arguments &)> prepare,
                                 std::function<sql::result(const arguments &)> run) {
    return sweep(standalone::service::libxml2_allocation, std::move(prepare), std::move(run));
}

void prepare_prefixed(arguments &with) {
    with.document =
        made(xml_dom_new_document_clob, "<!DOCTYPE p:a [<!ATTLIST p:a d CDATA 'v'>]>"
                                        "<p:a xmlns:p='urn:p' p:k='1' k='2' e=''>text</p:a>");
    with.first = made(xml_dom_get_document_element, with.document);
}

// --- memory of libxml2 ---------------------------------------------------------------------------

TEST(single_failures, an_attribute_whose_prefix_is_declared) {
    for (const char *name : {"p:k", "p:new", "q:other"}) {
        EXPECT_GT(sweep_libxml2(prepare_prefixed,
                                [name](const arguments &with) {
                                    return sql::call(xml_dom_set_attribute, with.first, name, "x");
                                })
                      .reported,
                  1);
    }
}

// The text node and what it holds: either fails alone, and with all that follows.
TEST(single_failures, a_value_for_an_attribute_that_has_none_or_a_text_that_is_named) {
    EXPECT_EQ(sweep_libxml2(
                  [](arguments &with) {
                      prepare_prefixed(with);
                      const sql::handle attribute =
                          made(xml_dom_create_attribute, with.document, "new");
                      made(xml_dom_append_child, with.first, attribute);
                  },
                  [](const arguments &with) {
                      return sql::call(xml_dom_set_attribute, with.first, "new", "x");
                  })
                  .reported,
              4);
    EXPECT_EQ(sweep_libxml2(
                  [](arguments &with) {
                      prepare_prefixed(with);
                      made(xml_dom_get_first_child,
                           made(xml_dom_get_attribute_node, with.first, "e"));
                  },
                  [](const arguments &with) {
                      return sql::call(xml_dom_set_attribute, with.first, "e", "x");
                  })
                  .reported,
              4);
}

// libxml2 puts the prefixed name together to look up its default.
TEST(single_failures, an_attribute_of_an_element_with_a_prefix_in_a_document_with_declarations) {
    for (const sql::function entry : {xml_dom_set_attribute_node, xml_dom_remove_attribute_node}) {
        for (const char *name : {"new", "d"}) { // the latter has a default
            EXPECT_GE(sweep_libxml2(
                          [name](arguments &with) {
                              prepare_prefixed(with);
                              with.second = made(xml_dom_create_attribute, with.document, name);
                          },
                          [entry](const arguments &with) {
                              return sql::call(entry, with.first, with.second);
                          })
                          .reported,
                      3);
        }
    }
}

TEST(single_failures, a_document_that_declares_its_encoding_is_imported) {
    EXPECT_GT(sweep_libxml2(
                  [](arguments &with) {
                      with.document = made(xml_dom_new_document_clob, "<a/>");
                      with.first = trees::parsed("<?xml version='1.0' encoding='UTF-8'?><b>c</b>");
                      const host::tree_scope scope;
                      trees::document_of(with.first)->URL = xmlStrdup(trees::xml("file:b.xml"));
                  },
                  [](const arguments &with) {
                      return sql::call(xml_dom_import_node, with.document, with.first, true);
                  })
                  .reported,
              4);
}

TEST(single_failures, a_document_that_libxml2_writes) {
    const auto xhtml = [](arguments &with) {
        with.document =
            made(xml_dom_new_document_clob, "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 "
                                            "Strict//EN\" \"xhtml1-strict.dtd\"><html><p/></html>");
    };
    EXPECT_GT(sweep_libxml2(xhtml,
                            [](const arguments &with) {
                                return sql::call(xml_dom_write_to_clob_doc, with.document);
                            })
                  .reported,
              2);
    EXPECT_GT(sweep_libxml2(xhtml,
                            [](const arguments &with) {
                                return sql::call(xml_dom_write_to_clob_node, with.document);
                            })
                  .reported,
              2);
}

// libxml2 asks iconv for it, and that takes memory.
TEST(single_failures, a_document_in_an_encoding_that_libxml2_has_to_look_for) {
    EXPECT_GT(sweep_libxml2(
                  [](arguments &with) {
                      with.document = made(xml_dom_new_document_clob, "<a/>");
                      EXPECT_FALSE(
                          sql::call(xml_dom_set_charset, with.document, "WINDOWS-1252").failed());
                  },
                  [](const arguments &with) {
                      static_cast<void>(with);
                      return sql::call(xml_dom_get_doc_trees_info);
                  })
                  .reported,
              4);
}

TEST(single_failures, an_empty_document) {
    EXPECT_GE(sweep_libxml2([](arguments &with) { with.document = trees::empty_document(); },
                            [](const arguments &) { return sql::call(xml_dom_new_document_empty); })
                  .reported,
              2);
}

// --- files ---------------------------------------------------------------------------------------

class single_file_failures : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        std::string name = (fs::temp_directory_path() / "pkg_dbe_xml_test_XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
        standalone::create_directory_object("out", folder.string());
        document = made(xml_dom_new_document_clob, "<a k='value'>text</a>");
    }
    void TearDown() override {
        fs::remove_all(folder);
        sql::session_test::TearDown();
    }
    // Every writing of bytes fails with this errno.
    static void fail_writing(int reason) {
        standalone::files().watcher = [reason](host::file_step step) {
            if (step != host::file_step::write) {
                return 0;
            }
            errno = reason;
            return reason != 0 ? reason : -1;
        };
    }
    [[nodiscard]] std::string contents() const {
        std::ostringstream bytes;
        bytes << std::ifstream(folder / "x.xml", std::ios::binary).rdbuf();
        return bytes.str();
    }
    fs::path folder;
    sql::handle document;
};

TEST_F(single_file_failures, the_value_of_an_attribute_is_not_written) {
    const sql::handle attribute =
        made(xml_dom_get_attribute_node, made(xml_dom_get_document_element, document), "k");
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_node, attribute, "out/x.xml").failed());
    EXPECT_EQ(contents(), "value");
    fail_writing(ENOSPC);
    const sql::result failed = sql::call(xml_dom_write_to_file_node, attribute, "out/x.xml");
    EXPECT_REPORT(failed, reports::write_failed);
    EXPECT_NE(failed.error().context.find("No space left on device"), std::string::npos);
    EXPECT_EQ(contents(), "value"); // the file stays as it was
}

// --- a libxml2 that refuses a text without a word ------------------------------------------------

// Later versions advise against call-backs at nodes, but still call them.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

void refuse(xmlNodePtr /*node*/) {
    if (host::current_run != nullptr) {
        host::current_run->context->wellFormed = 0;
    }
}

class silent_refusal {
  public:
    silent_refusal() : before_(xmlRegisterNodeDefault(refuse)) {}
    ~silent_refusal() { xmlRegisterNodeDefault(before_); }
    silent_refusal(const silent_refusal &) = delete;
    silent_refusal &operator=(const silent_refusal &) = delete;

  private:
    xmlRegisterNodeFunc before_;
};

class silent_refusals : public sql::session_test {};

TEST_F(silent_refusals, of_a_document) {
    const silent_refusal refusal;
    const sql::result outcome = sql::call(xml_dom_new_document_clob, "<a/>");
    EXPECT_REPORT(outcome, reports::invalid_document);
    EXPECT_EQ(outcome.error().context, "the text is not well-formed");
}

TEST_F(silent_refusals, of_a_text_for_a_parser) {
    const silent_refusal refusal;
    const sql::handle parser = made(xmlparser_new_parser);
    EXPECT_FALSE(sql::call(xmlparser_parse_clob, parser, "<a/>").failed());
    ASSERT_EQ(standalone::warnings().size(), 1U);
    EXPECT_NE(standalone::warnings().front().message.find(": the text is not well-formed"),
              std::string::npos)
        << standalone::warnings().front().message;
    EXPECT_EQ(standalone::warnings().front().message.find(", line "), std::string::npos);
}

} // namespace
