// Character sets of the standalone host.
#include "host/encoding.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <cstring>
#include <stdexcept>

namespace {

namespace standalone = host::standalone;

class host_encodings : public sql::session_test {
  protected:
    std::string convert(std::string text, int from, int to) {
        char *converted =
            host::mb_do_encoding_conversion(text.data(), text.size(), from, to, false);
        std::string result(converted);
        if (converted != text.data()) {
            host::mmgr_free_with_fl(converted, __FILE__, __LINE__);
        }
        return result;
    }
    std::string to_utf8(std::string text) {
        return convert(std::move(text), host::mb_get_database_encoding(), host::k_utf8);
    }
    std::string from_utf8(std::string text) {
        return convert(std::move(text), host::k_utf8, host::mb_get_database_encoding());
    }
};

// The report of a call whose body runs `body`.
host::report_fields report_of(host::function_body body) {
    host::call_record record;
    host::invoke(&record, body);
    EXPECT_TRUE(record.failed);
    return record.report;
}

// Text and direction for the bodies below: a body is a plain function.
thread_local std::string conversion_text;
host::datum convert_in(host::call & /*call*/) {
    return host::from_pointer(
        host::mb_do_encoding_conversion(conversion_text.data(), conversion_text.size(),
                                        host::mb_get_database_encoding(), host::k_utf8, false));
}
host::datum convert_out(host::call & /*call*/) {
    return host::from_pointer(
        host::mb_do_encoding_conversion(conversion_text.data(), conversion_text.size(),
                                        host::k_utf8, host::mb_get_database_encoding(), false));
}
host::report_fields report_of_conversion(host::function_body body, std::string text) {
    conversion_text = std::move(text);
    return report_of(body);
}

TEST_F(host_encodings, utf8_databases_convert_nothing) {
    EXPECT_EQ(host::mb_get_database_encoding(), host::k_utf8);
    std::string text = "\xC3\xA4\xFF";
    EXPECT_EQ(host::mb_do_encoding_conversion(text.data(), text.size(), host::k_utf8, host::k_utf8,
                                              false),
              text.data());
}

TEST_F(host_encodings, text_goes_both_ways) {
    struct sample {
        const char *encoding;
        const char *bytes;
        const char *utf8;
    };
    const sample samples[] = {
        {"LATIN1", "\xE4\xDF", "\xC3\xA4\xC3\x9F"},
        {"LATIN9", "\xA4", "\xE2\x82\xAC"},
        {"WIN1252", "\x80", "\xE2\x82\xAC"},
        {"WIN1251", "\xCF\xF0", "\xD0\x9F\xD1\x80"},
        {"KOI8R", "\xF0\xD2", "\xD0\x9F\xD1\x80"},
        {"EUC_JP", "\xC6\xFC\xCB\xDC", "\xE6\x97\xA5\xE6\x9C\xAC"},
        {"EUC_KR", "\xC7\xD1", "\xED\x95\x9C"},
        {"EUC_CN", "\xD6\xD0", "\xE4\xB8\xAD"},
        {"EUC_TW", "\xC4\xE3", "\xE4\xB8\xAD"},
        {"EUC_JIS_2004", "\xC6\xFC", "\xE6\x97\xA5"},
        {"SJIS", "\x93\xFA", "\xE6\x97\xA5"},
        {"BIG5", "\xA4\xA4", "\xE4\xB8\xAD"},
        {"GB18030", "\xD6\xD0", "\xE4\xB8\xAD"},
        {"ISO-8859-7", "\xE1", "\xCE\xB1"}, // by iconv's own name
    };
    for (const sample &each : samples) {
        use_database_encoding(each.encoding);
        EXPECT_NE(host::mb_get_database_encoding(), host::k_utf8);
        EXPECT_EQ(to_utf8(each.bytes), each.utf8) << each.encoding;
        EXPECT_EQ(from_utf8(each.utf8), each.bytes) << each.encoding;
        EXPECT_EQ(to_utf8("plain <a/>"), "plain <a/>") << each.encoding;
    }
}

TEST_F(host_encodings, long_texts_grow_as_they_need) {
    use_database_encoding("LATIN1");
    for (const std::size_t size : {1U, 31U, 32U, 33U, 1000U, 100000U}) {
        std::string expected;
        for (std::size_t i = 0; i < size; ++i) {
            expected += "\xC3\xA4";
        }
        EXPECT_EQ(to_utf8(std::string(size, '\xE4')), expected);
        EXPECT_EQ(from_utf8(expected), std::string(size, '\xE4'));
    }
}

TEST_F(host_encodings, the_empty_text_is_itself) {
    use_database_encoding("EUC_JP");
    char empty[] = "";
    EXPECT_EQ(host::mb_do_encoding_conversion(empty, 0, host::mb_get_database_encoding(),
                                              host::k_utf8, false),
              empty);
}

TEST_F(host_encodings, invalid_text_is_an_error_of_the_host) {
    use_database_encoding("EUC_JP");
    const host::report_fields report = report_of_conversion(convert_in, "a\xC6 b");
    EXPECT_EQ(report.sqlstate, "22021");
    EXPECT_EQ(report.message, "invalid byte sequence for encoding \"EUC_JP\": 0xc6 0x20 0x62");
    EXPECT_EQ(report.module_id, 0);
    EXPECT_EQ(report.id, 0);
    // A character that is cut off at the end.
    EXPECT_EQ(report_of_conversion(convert_in, "a\xC6").sqlstate, "22021");
    // And the other way round.
    EXPECT_EQ(report_of_conversion(convert_out, "a\xC3").message,
              "invalid byte sequence for encoding \"UTF8\": 0xc3");
}

TEST_F(host_encodings, missing_characters_are_an_error_of_the_host) {
    use_database_encoding("LATIN1");
    const host::report_fields report = report_of_conversion(convert_out, "a\xE2\x82\xAC z");
    EXPECT_EQ(report.sqlstate, "22P05");
    EXPECT_EQ(report.message, "character with byte sequence 0xe2 0x82 0xac in encoding \"UTF8\" "
                              "has no equivalent in encoding \"LATIN1\"");
    use_database_encoding("WIN1252");
    const host::report_fields undefined = report_of_conversion(convert_in, "\x81");
    EXPECT_EQ(undefined.sqlstate, "22P05");
    EXPECT_EQ(undefined.message, "character with byte sequence 0x81 in encoding \"WIN1252\" has "
                                 "no equivalent in encoding \"UTF8\"");
}

TEST_F(host_encodings, zero_bytes_are_invalid) {
    use_database_encoding("LATIN1");
    EXPECT_EQ(report_of_conversion(convert_in, std::string("a\0b", 3)).sqlstate, "22021");
}

TEST_F(host_encodings, a_database_without_a_character_set_passes_bytes_on) {
    use_database_encoding("SQL_ASCII");
    EXPECT_EQ(host::mb_get_database_encoding(), 0);
    EXPECT_EQ(to_utf8("\xC3\xA4"), "\xC3\xA4");
    EXPECT_EQ(from_utf8("\xC3\xA4"), "\xC3\xA4");
    EXPECT_EQ(from_utf8("\xFF"), "\xFF");
}

TEST_F(host_encodings, a_database_without_a_character_set_verifies_utf8) {
    use_database_encoding("SQL_ASCII");
    for (const char *valid : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                              "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(to_utf8(valid), valid);
    }
    for (const char *invalid :
         {"\x80", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xED\xA0\x80",
          "\xE1\x80", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
        const host::report_fields report = report_of_conversion(convert_in, invalid);
        EXPECT_EQ(report.sqlstate, "22021");
        EXPECT_NE(report.message.find("encoding \"UTF8\""), std::string::npos);
    }
}

TEST_F(host_encodings, failed_conversions_keep_no_memory) {
    use_database_encoding("LATIN1");
    const host::memory_context *context = host::current_memory_context();
    report_of_conversion(convert_out, std::string(1000, 'a') + "\xE2\x82\xAC");
    EXPECT_EQ(standalone::memory_of(context).blocks, 0U);
    // Every allocation of a conversion that has to grow.
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text += '\xE4';
    }
    std::int64_t failures = 0;
    for (std::int64_t at = 1;; ++at) {
        standalone::fail_call(standalone::service::allocation, at);
        conversion_text = text;
        host::call_record record;
        host::invoke(&record, convert_in);
        if (!record.failed) {
            break;
        }
        ++failures;
        EXPECT_EQ(record.report.sqlstate, "53200");
        EXPECT_EQ(standalone::memory_of(context).blocks, 0U);
    }
    EXPECT_EQ(failures, 2);
    standalone::clear_faults();
}

TEST_F(host_encodings, conversions_can_be_made_to_fail) {
    use_database_encoding("LATIN1");
    standalone::fail_call(standalone::service::conversion, 1);
    EXPECT_EQ(report_of_conversion(convert_in, "a").message, "injected failure");
    EXPECT_EQ(to_utf8("a"), "a");
}

TEST(host_encodings_unknown, are_refused) {
    EXPECT_THROW(standalone::begin_session("NO_SUCH_ENCODING"), std::invalid_argument);
    EXPECT_FALSE(standalone::session_begun());
    standalone::begin_session("utf-8");
    EXPECT_EQ(host::mb_get_database_encoding(), host::k_utf8);
    EXPECT_TRUE(standalone::end_session().nothing());
}

} // namespace
