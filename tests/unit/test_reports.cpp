// What a report says of itself beside its texts, which every function's own tests compare: the
// place in the source, and arguments that are too few or too many.
#include "support/sql.hpp"

#include "error_reports.hpp"
#include "standalone_session.hpp"

#include <cerrno>
#include <string>

namespace {

namespace standalone = host::standalone;

void (*action)();
host::datum run_action(host::call & /*call*/) {
    action();
    return 0;
}
host::datum enter_action(host::call_record *record) { return host::invoke(record, run_action); }

class report_fields : public sql::session_test {
  protected:
    static const host::report_fields &reported(void (*report)()) {
        action = report;
        EXPECT_TRUE(standalone::call_function(enter_action, nullptr, 0).failed);
        return standalone::last_report();
    }
};

TEST_F(report_fields, the_file_stands_without_its_folders) {
    const auto &with_folders = reported([] {
        pkg_dbe_xml::report(reports::node_gone, {}, {}, {}, "/a/b/source.cpp", 12, "function");
    });
    EXPECT_EQ(with_folders.file, "source.cpp");
    EXPECT_EQ(with_folders.line, 12);
    EXPECT_EQ(with_folders.function, "function");
    const auto &alone = reported(
        [] { pkg_dbe_xml::report(reports::node_gone, {}, {}, {}, "other.cpp", 1, "other"); });
    EXPECT_EQ(alone.file, "other.cpp");
    EXPECT_EQ(alone.message, reports::node_gone.message);
}

TEST_F(report_fields, arguments_stand_where_the_text_has_a_place_for_them) {
    const std::string text = "The file cannot be opened or the file path does not exist: ";
    EXPECT_EQ(reported([] {
                  errno = ENOENT;
                  pkg_dbe_xml::report(reports::file_not_opened, {"a.xml"});
              }).message,
              text + "a.xml");
    EXPECT_EQ(reported([] {
                  errno = ENOENT;
                  pkg_dbe_xml::report(reports::file_not_opened, {"a.xml", "b.xml"});
              }).message,
              text + "a.xml");
    EXPECT_EQ(reported([] {
                  errno = ENOENT;
                  pkg_dbe_xml::report(reports::file_not_opened);
              }).message,
              text);
}

} // namespace
