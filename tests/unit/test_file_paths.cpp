// Which files may be written: the path functions by themselves, and the checks in their order.
#include "support/sql.hpp"

#include "faults.hpp"
#include "files/file_paths.hpp"
#include "host/catalog.hpp"
#include "host/memory.hpp"
#include "host/path.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

namespace standalone = host::standalone;
namespace fs = std::filesystem;

// The arguments and results of the path function under test; a call goes through `invoke`, so that
// reports come back as from SQL.
std::string given[2];
std::string shown[2];

host::datum split_body(host::call &call) {
    char *directory = nullptr;
    char *file_part = nullptr;
    pkg_dbe_xml::check_and_get_input_path(given[0].data(), directory, file_part);
    shown[0] = directory;
    shown[1] = file_part;
    host::mmgr_free_with_fl(directory, __FILE__, __LINE__);
    host::mmgr_free_with_fl(file_part, __FILE__, __LINE__);
    return call.null();
}
host::datum split_null_body(host::call &call) {
    char *directory = nullptr;
    char *file_part = nullptr;
    pkg_dbe_xml::check_and_get_input_path(nullptr, directory, file_part);
    return call.null();
}
char *host_copy(const std::string &text) {
    auto *copy = static_cast<char *>(
        host::mmgr_memory_alloc_zero(host::current_memory_context(), text.size() + 1));
    std::memcpy(copy, text.data(), text.size());
    return copy;
}
host::datum safe_body(host::call &call) {
    char *path = pkg_dbe_xml::check_safe_path(given[0].data(), host_copy(given[1]));
    shown[0] = path;
    host::mmgr_free_with_fl(path, __FILE__, __LINE__);
    return call.null();
}
host::datum permission_body(host::call &call) {
    pkg_dbe_xml::check_copy_file_permission(given[0].c_str());
    return call.null();
}
host::datum protected_body(host::call & /*call*/) {
    return host::from_boolean(pkg_dbe_xml::do_check_file_path(given[0].c_str()));
}
host::datum file_permission_body(host::call &call) {
    pkg_dbe_xml::check_file_permission(given[0].c_str());
    return call.null();
}

template <host::function_body body> host::datum entry(host::call_record *record) {
    return host::invoke(record, body);
}

sql::result split(std::string_view path) {
    given[0] = path;
    return sql::call(entry<split_body>);
}
sql::result safe_path(std::string_view directory, std::string_view file_part) {
    given[0] = directory;
    given[1] = file_part;
    return sql::call(entry<safe_body>);
}
sql::result permission(std::string_view path) {
    given[0] = path;
    return sql::call(entry<permission_body>);
}
bool is_protected(std::string_view path) {
    given[0] = path;
    return sql::call(entry<protected_body>).boolean();
}
sql::result file_permission(std::string_view path) {
    given[0] = path;
    return sql::call(entry<file_permission_body>);
}
std::string canonical(std::string path) {
    host::canonicalize_path(path.data());
    return path.c_str();
}

class file_paths : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        char name[] = "/tmp/pkg_dbe_xml_paths_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
        standalone::create_directory_object("out", folder);
        document = sql::call(xml_dom_new_document_clob, "<a/>").handle();
    }
    void TearDown() override {
        fs::remove_all(folder);
        sql::session_test::TearDown();
    }
    sql::result write_doc(std::string_view path) const {
        return sql::call(xml_dom_write_to_file_doc, document, path);
    }
    sql::result write_node(std::string_view path) const {
        return sql::call(xml_dom_write_to_file_node, document, path);
    }
    [[nodiscard]] std::size_t files_in_folder() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
    std::string folder;
    sql::handle document;
};

// --- the shape of the argument ------------------------------------------------------------------

TEST_F(file_paths, directory_and_name_are_split) {
    EXPECT_FALSE(split("dir/x.xml").failed());
    EXPECT_EQ(shown[0], "dir");
    EXPECT_EQ(shown[1], "/x.xml");
    EXPECT_FALSE(split("dir\\x.xml").failed()); // a backslash counts as a slash
    EXPECT_EQ(shown[0], "dir");
    EXPECT_EQ(shown[1], "/x.xml");
    EXPECT_EQ(std::string(given[0].c_str()), "dir/x.xml"); // changed in place
    EXPECT_FALSE(split("dir/.xml").failed());
    EXPECT_EQ(shown[1], "/.xml");
}

TEST_F(file_paths, shapes_that_are_refused) {
    EXPECT_REPORT(split(""), reports::empty_path);
    EXPECT_REPORT(sql::call(entry<split_null_body>), reports::empty_path);
    for (const char *path : {"x.xml", "/x.xml", "dir/", "/", "\\", "a/b/x.xml", "dir\\sub\\x.xml",
                             "dir//x.xml", "dir/sub\\x.xml", "../x/y.xml"}) {
        EXPECT_REPORT(split(path), reports::path_shape);
    }
}

TEST_F(file_paths, extension) {
    for (const char *path :
         {"dir/x.XML", "dir/.xm", "dir/x", "dir/xml", "dir/x.xml ", "dir/x.xmls", "dir/x.xml.gz"}) {
        EXPECT_REPORT(split(path), reports::file_name_extension);
    }
}

TEST_F(file_paths, name_of_255_bytes) {
    EXPECT_FALSE(split("dir/" + std::string(251, 'n') + ".xml").failed());
    EXPECT_EQ(shown[1].size(), 256U);
    EXPECT_REPORT(split("dir/" + std::string(252, 'n') + ".xml"), reports::file_name_too_long);
    EXPECT_REPORT(split("dir/" + std::string(256, 'n')), reports::file_name_too_long); // goes first
}

TEST_F(file_paths, shape_is_tested_before_length_and_extension) {
    EXPECT_REPORT(split("dir/" + std::string(300, 'n') + "/x"), reports::path_shape);
}

// --- the directory object -----------------------------------------------------------------------

TEST_F(file_paths, path_of_the_directory_is_put_before_the_name) {
    EXPECT_FALSE(safe_path("out", "/x.xml").failed());
    EXPECT_EQ(shown[0], folder + "/x.xml");
    standalone::create_directory_object("untidy", folder + "//sub/./../");
    EXPECT_FALSE(safe_path("untidy", "/x.xml").failed());
    EXPECT_EQ(shown[0], folder + "/x.xml");
    standalone::create_directory_object("root", "/");
    EXPECT_FALSE(safe_path("root", "/x.xml").failed());
    EXPECT_EQ(shown[0], "/x.xml");
}

TEST_F(file_paths, a_name_without_a_separator_is_one_too) {
    EXPECT_FALSE(safe_path("out", "x.xml").failed());
    EXPECT_EQ(shown[0], folder + "/x.xml");
}

TEST_F(file_paths, a_path_that_is_empty_names_nothing_protected) {
    standalone::files().protected_names = {""}; // stands in every name
    EXPECT_FALSE(is_protected(""));
    EXPECT_FALSE(permission("").failed());
    EXPECT_TRUE(is_protected(folder + "/x.xml"));
    EXPECT_REPORT(permission(folder + "/x.xml"), reports::protected_file_name);
}

TEST_F(file_paths, directory_name_is_folded_when_it_is_not_found) {
    EXPECT_FALSE(safe_path("OUT", "/x.xml").failed());
    EXPECT_EQ(shown[0], folder + "/x.xml");
    standalone::create_directory_object("OUT", "/elsewhere");
    EXPECT_FALSE(safe_path("OUT", "/x.xml").failed()); // as it is goes first
    EXPECT_EQ(shown[0], "/elsewhere/x.xml");
    EXPECT_REPORT(safe_path("Nowhere", "/x.xml"), reports::directory_not_found, "nowhere");
}

TEST_F(file_paths, directory_names_are_those_of_the_database) {
    use_database_encoding("LATIN1");
    standalone::create_directory_object("caf\xE9", "/tmp/caf\xE9");
    EXPECT_FALSE(safe_path("caf\xC3\xA9", "/x.xml").failed());
    EXPECT_EQ(shown[0], "/tmp/caf\xC3\xA9/x.xml");
    EXPECT_REPORT(safe_path("\xC3\xA9", "/x.xml"), reports::directory_not_found, "\xC3\xA9");
}

TEST_F(file_paths, directory_without_a_path) {
    standalone::create_directory_object("null", std::nullopt, "somebody");
    EXPECT_REPORT(safe_path("null", "/x.xml"), reports::directory_path_null, "null");
}

TEST_F(file_paths, write_must_be_held) {
    standalone::create_directory_object("theirs", folder, "owner");
    auto &directory = standalone::files().directories.back();
    EXPECT_REPORT(safe_path("theirs", "/x.xml"), reports::directory_denied, "WRITE", "theirs");
    EXPECT_REPORT(safe_path("THEIRS", "/x.xml"), reports::directory_denied, "WRITE", "theirs");
    directory.writers = {"tester"};
    EXPECT_FALSE(safe_path("theirs", "/x.xml").failed());
    directory.writers = {"group"};
    EXPECT_TRUE(safe_path("theirs", "/x.xml").failed());
    standalone::files().roles = {{"tester", false, {"subgroup"}}, {"subgroup", false, {"group"}}};
    EXPECT_FALSE(safe_path("theirs", "/x.xml").failed()); // member of a member
    directory.writers = {};
    standalone::files().roles = {{"tester", true, {}}};
    EXPECT_FALSE(safe_path("theirs", "/x.xml").failed()); // superuser
    standalone::files().roles = {};
    standalone::files().current_user = "owner";
    EXPECT_FALSE(safe_path("theirs", "/x.xml").failed());
}

TEST_F(file_paths, catalogue_failures_leave_nothing_behind) {
    for (int at = 1; at <= 3; ++at) {
        standalone::fail_call(standalone::service::catalogue, at);
        EXPECT_EQ(safe_path("out", "/x.xml").error().message, "injected failure");
    }
    standalone::fail_call(standalone::service::catalogue, 4);
    EXPECT_FALSE(safe_path("out", "/x.xml").failed());
}

// --- protected names ----------------------------------------------------------------------------

TEST_F(file_paths, find_file_name) {
    using pkg_dbe_xml::FindFileName;
    EXPECT_EQ(FindFileName(nullptr), nullptr);
    EXPECT_EQ(FindFileName(""), nullptr);
    EXPECT_STREQ(FindFileName("x.xml"), "x.xml");
    EXPECT_STREQ(FindFileName("/a/b/x.xml"), "x.xml");
    EXPECT_STREQ(FindFileName("a/"), "");
}

TEST_F(file_paths, each_of_the_eighteen_entries_protects) {
    EXPECT_FALSE(is_protected(folder + "/good.xml"));
    for (const auto &setting : standalone::files().setting_paths) {
        const std::string entry = setting->substr(setting->rfind('/') + 1);
        EXPECT_TRUE(is_protected(folder + "/" + entry + ".xml")) << entry;
        EXPECT_TRUE(is_protected(folder + "/before" + entry + "after.xml")) << entry;
        EXPECT_REPORT(permission(folder + "/" + entry + ".xml"), reports::protected_file_name);
    }
    for (const std::string &entry : standalone::files().protected_names) {
        EXPECT_TRUE(is_protected(folder + "/before" + entry + "after.xml")) << entry;
    }
    EXPECT_EQ(standalone::files().setting_paths.size() + standalone::files().protected_names.size(),
              18U);
}

TEST_F(file_paths, entries_are_case_sensitive_and_of_the_name_only) {
    EXPECT_FALSE(is_protected(folder + "/OPENSSL.CNF.xml"));
    EXPECT_FALSE(is_protected("/nowhere/openssl.cnf/x.xml"));
}

TEST_F(file_paths, unset_settings_give_no_entry) {
    auto &paths = standalone::files().setting_paths;
    paths.fill(std::nullopt);
    EXPECT_FALSE(is_protected(folder + "/server.conf.xml"));
    paths[3] = "";
    EXPECT_FALSE(is_protected(folder + "/x.xml"));
    paths[10] = "/etc/of_the_session";
    EXPECT_TRUE(is_protected(folder + "/of_the_session.xml"));
}

TEST_F(file_paths, setting_that_ends_in_a_slash_protects_every_name) {
    standalone::files().setting_paths[4] = "/etc/server/";
    EXPECT_TRUE(is_protected(folder + "/x.xml"));
    EXPECT_REPORT(write_doc("out/x.xml"), reports::protected_file_name);
}

TEST_F(file_paths, name_is_that_of_the_resolved_path) {
    fs::create_symlink(folder + "/openssl.cnf", folder + "/dangling.xml");
    EXPECT_FALSE(is_protected(folder + "/dangling.xml")); // leads nowhere: the name as it is
    fs::path target = folder + "/_audit_.xml";
    fclose(fopen(target.c_str(), "w"));
    fs::create_symlink(target, folder + "/link.xml");
    EXPECT_TRUE(is_protected(folder + "/link.xml"));
    EXPECT_REPORT(permission(folder + "/link.xml"), reports::protected_file_name);
    // The other way round: an innocent file under a protected name.
    fclose(fopen((folder + "/good.xml").c_str(), "w"));
    fs::create_symlink(folder + "/good.xml", folder + "/x_audit_.xml");
    EXPECT_FALSE(is_protected(folder + "/x_audit_.xml"));
    EXPECT_REPORT(permission(folder + "/x_audit_.xml"), reports::protected_file_name);
}

TEST_F(file_paths, names_with_control_characters_are_refused) {
    for (const char *name :
         {"a\nb.xml", "a\tb.xml", "\x1B[2J.xml", "a\x7F.xml", "a\xC2\x85.xml", "a\r.xml"}) {
        EXPECT_REPORT(permission(folder + "/" + name), reports::protected_file_name);
        EXPECT_REPORT(write_doc("out/" + std::string(name)), reports::protected_file_name);
        EXPECT_REPORT(write_node("out/" + std::string(name)), reports::protected_file_name);
    }
    EXPECT_FALSE(permission(folder + "/\xC3\x85ngstr\xC3\xB6m \xE6\x97\xA5.xml").failed());
    EXPECT_EQ(files_in_folder(), 0U);
}

// --- safe_data_path -----------------------------------------------------------------------------

TEST_F(file_paths, safe_data_path_confines) {
    fs::create_directory(folder + "/safe");
    fs::create_directory(folder + "/safe_not");
    standalone::files().safe_data_path = folder + "/safe";
    EXPECT_FALSE(file_permission(folder + "/safe/x.xml").failed());
    EXPECT_FALSE(file_permission(folder + "/safe/not_there/x.xml").failed());
    for (const char *path :
         {"/x.xml", "/safe_not/x.xml", "/safe/../x.xml", "/safe.xml", "/not_there/x.xml"}) {
        const sql::result outcome = file_permission(folder + path);
        EXPECT_REPORT(outcome, reports::outside_safe_path, folder + "/safe");
        EXPECT_EQ(outcome.error().hint, "Filename must be under the safe_data_path set by admin. ");
    }
    EXPECT_REPORT(write_doc("out/x.xml"), reports::outside_safe_path, folder + "/safe");
    EXPECT_REPORT(write_node("out/x.xml"), reports::outside_safe_path, folder + "/safe");
}

TEST_F(file_paths, safe_data_path_sees_through_links) {
    fs::create_directory(folder + "/safe");
    fs::create_directory(folder + "/other");
    fs::create_directory_symlink(folder + "/other", folder + "/safe/way_out");
    fs::create_directory_symlink(folder + "/safe", folder + "/way_in");
    standalone::files().safe_data_path = folder + "/safe";
    EXPECT_TRUE(file_permission(folder + "/safe/way_out/x.xml").failed());
    EXPECT_FALSE(file_permission(folder + "/way_in/x.xml").failed());
    standalone::files().safe_data_path = folder + "/way_in"; // the setting itself may be one
    EXPECT_FALSE(file_permission(folder + "/safe/x.xml").failed());
}

TEST_F(file_paths, safe_data_path_that_is_no_directory_refuses_everything) {
    for (const char *setting : {"/nowhere/at/all", "relative", "."}) {
        standalone::files().safe_data_path = setting;
        EXPECT_REPORT(file_permission(folder + "/x.xml"), reports::outside_safe_path, setting);
    }
    standalone::files().safe_data_path = "/";
    EXPECT_FALSE(file_permission(folder + "/x.xml").failed());
}

TEST_F(file_paths, safe_data_path_is_asked_before_the_name) {
    standalone::files().safe_data_path = folder + "/none";
    EXPECT_REPORT(permission(folder + "/openssl.cnf.xml"), reports::outside_safe_path,
                  folder + "/none");
}

// --- the order of the checks --------------------------------------------------------------------

TEST_F(file_paths, checks_follow_one_another) {
    standalone::create_directory_object("theirs", "/nowhere", "owner");
    standalone::files().safe_data_path = "/none";
    const std::string long_name(260, 'n');
    for (const auto &write : {xml_dom_write_to_file_doc, xml_dom_write_to_file_node}) {
        EXPECT_REPORT(sql::call(write, document, ""), reports::empty_path);
        EXPECT_REPORT(sql::call(write, document, "nowhere" + long_name), reports::path_shape);
        EXPECT_REPORT(sql::call(write, document, "nowhere/" + long_name),
                      reports::file_name_too_long);
        EXPECT_REPORT(sql::call(write, document, "nowhere/openssl.cnf"),
                      reports::file_name_extension);
        EXPECT_REPORT(sql::call(write, document, "nowhere/openssl.cnf.xml"),
                      reports::directory_not_found, "nowhere");
        EXPECT_REPORT(sql::call(write, document, "theirs/openssl.cnf.xml"),
                      reports::directory_denied, "WRITE", "theirs");
        EXPECT_REPORT(sql::call(write, document, "out/openssl.cnf.xml"), reports::outside_safe_path,
                      "/none");
    }
    standalone::files().safe_data_path = "";
    EXPECT_REPORT(write_doc("out/openssl.cnf.xml"), reports::protected_file_name);
    EXPECT_REPORT(write_node("out/openssl.cnf.xml"), reports::protected_file_name);
    EXPECT_EQ(files_in_folder(), 0U); // no check leaves a file
}

// --- paths as texts -----------------------------------------------------------------------------

TEST_F(file_paths, canonical_paths) {
    EXPECT_EQ(canonical("/a/b"), "/a/b");
    EXPECT_EQ(canonical("//a///b//"), "/a/b");
    EXPECT_EQ(canonical("/a/./b/."), "/a/b");
    EXPECT_EQ(canonical("/a/x/../b"), "/a/b");
    EXPECT_EQ(canonical("/../../a"), "/a");
    EXPECT_EQ(canonical("/a/.."), "/");
    EXPECT_EQ(canonical("/"), "/");
    EXPECT_EQ(canonical(""), "");
    EXPECT_EQ(canonical("a/../.."), "..");
    EXPECT_EQ(canonical("a/.."), ".");
    EXPECT_EQ(canonical("../a/../../b"), "../../b");
    EXPECT_EQ(canonical("/a/..b/...c"), "/a/..b/...c");
}

TEST_F(file_paths, last_separator) {
    char path[] = "/a/b";
    EXPECT_EQ(host::last_dir_separator(path), path + 2);
    char name[] = "b";
    EXPECT_EQ(host::last_dir_separator(name), nullptr);
}

} // namespace
