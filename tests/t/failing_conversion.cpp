// Conversions between LATIN1 and UTF-8 that fail when they are told to. For
// failing_conversions.sh only.
extern "C" {
#include <postgres.h>

#include <fmgr.h>
#include <mb/pg_wchar.h>

#pragma GCC visibility push(default)
PG_MODULE_MAGIC;
PG_FUNCTION_INFO_V1(fail_conversion_after);
PG_FUNCTION_INFO_V1(latin1_to_utf8);
PG_FUNCTION_INFO_V1(utf8_to_latin1);
Datum fail_conversion_after(PG_FUNCTION_ARGS);
Datum latin1_to_utf8(PG_FUNCTION_ARGS);
Datum utf8_to_latin1(PG_FUNCTION_ARGS);
#pragma GCC visibility pop
}

namespace {

int left = -1; // conversions that succeed; -1: all

void fail_when_due() {
    if (left == 0) {
        ereport(ERROR, (errcode(ERRCODE_IO_ERROR), errmsg("conversion failed on purpose")));
    }
    left -= left > 0 ? 1 : 0;
}

struct arguments {
    const unsigned char *source;
    unsigned char *target;
    int size;
    bool no_error;
};
arguments arguments_of(FunctionCallInfo fcinfo) {
    return {reinterpret_cast<const unsigned char *>(PG_GETARG_CSTRING(2)),
            reinterpret_cast<unsigned char *>(PG_GETARG_CSTRING(3)), PG_GETARG_INT32(4),
            PG_GETARG_BOOL(5)};
}

} // namespace

// fail_conversion_after(integer): from then on, all fail; with -1 none.
Datum fail_conversion_after(PG_FUNCTION_ARGS) {
    left = PG_GETARG_INT32(0);
    PG_RETURN_VOID();
}

Datum latin1_to_utf8(PG_FUNCTION_ARGS) {
    fail_when_due();
    const arguments given = arguments_of(fcinfo);
    unsigned char *end = given.target;
    for (int i = 0; i < given.size; ++i) {
        const unsigned char letter = given.source[i];
        if (letter < 0x80) {
            *end++ = letter;
        } else {
            *end++ = static_cast<unsigned char>(0xC0 | (letter >> 6));
            *end++ = static_cast<unsigned char>(0x80 | (letter & 0x3F));
        }
    }
    *end = '\0';
    PG_RETURN_INT32(given.size);
}

Datum utf8_to_latin1(PG_FUNCTION_ARGS) {
    fail_when_due();
    const arguments given = arguments_of(fcinfo);
    unsigned char *end = given.target;
    int at = 0;
    while (at < given.size) {
        const unsigned char letter = given.source[at];
        if (letter < 0x80) {
            *end++ = letter;
            ++at;
        } else if ((letter == 0xC2 || letter == 0xC3) && at + 1 < given.size) {
            *end++ = static_cast<unsigned char>((letter << 6) | (given.source[at + 1] & 0x3F));
            at += 2;
        } else if (given.no_error) {
            break;
        } else {
            report_untranslatable_char(PG_UTF8, PG_LATIN1,
                                       reinterpret_cast<const char *>(given.source + at),
                                       given.size - at);
        }
    }
    *end = '\0';
    PG_RETURN_INT32(at);
}
