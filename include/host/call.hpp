// The road into the library: how the host calls an SQL function and how the function reads its
// arguments and gives its result.
//
// The host owns the call record. The library reads the arguments where they lie in it, an array of
// (value, null flag) pairs, and the host runs the function's body inside `invoke`, the one place
// where a failure of the library is turned into a failure of the SQL statement.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace host {

// One machine word: a number, a truth value, or the address of a value in memory.
using datum = std::uintptr_t;

// One argument as the host passes it. Hosts assert that the layout is that of their own record.
struct argument {
    datum value;
    bool is_null;
};

// The host's own record of a call; the library only passes it on.
struct call_record;

// What a `pg_finfo_` function returns: the version of the calling convention.
struct function_info {
    int api_version;
};

// A call in progress, as the body of a function sees it; the arguments stand behind it. Hosts give
// it the layout of their own record, or assert that it has it: nothing is copied for a call.
struct call {
    void *own_words[3]; // the host's own
    std::uint32_t own_number;
    bool result_is_null; // false when the body begins
    std::int16_t argument_count;

    // True when argument `index` (from 0) was not passed or is null.
    [[nodiscard]] bool is_null(int index) const noexcept {
        return index >= argument_count || arguments()[index].is_null;
    }
    [[nodiscard]] datum value(int index) const noexcept { return arguments()[index].value; }
    [[nodiscard]] bool boolean(int index) const noexcept { return (value(index) & 0xFFU) != 0; }
    [[nodiscard]] std::int32_t int4(int index) const noexcept {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value(index)));
    }
    [[nodiscard]] std::uint32_t uint4(int index) const noexcept {
        return static_cast<std::uint32_t>(value(index));
    }
    // Makes the result null; `return call.null();` ends a body.
    datum null() noexcept {
        result_is_null = true;
        return 0;
    }
    // Argument `index` as the result.
    datum same_as(int index) noexcept {
        result_is_null = is_null(index);
        return result_is_null ? 0 : value(index);
    }

  private:
    [[nodiscard]] const argument *arguments() const noexcept {
        return reinterpret_cast<const argument *>(this + 1);
    }
};
static_assert(sizeof(call) % alignof(argument) == 0);

[[nodiscard]] constexpr datum from_boolean(bool value) noexcept { return value ? 1 : 0; }
[[nodiscard]] constexpr datum from_int4(std::int32_t value) noexcept {
    return static_cast<datum>(static_cast<std::intptr_t>(value));
}
[[nodiscard]] constexpr datum from_uint4(std::uint32_t value) noexcept { return value; }
// A number of eight bytes in a word of as many.
[[nodiscard]] constexpr datum from_float8(double value) noexcept {
    static_assert(sizeof(datum) == sizeof(double));
    return std::bit_cast<datum>(value);
}
[[nodiscard]] inline datum from_pointer(const void *value) noexcept {
    return reinterpret_cast<datum>(value);
}

// The body of an SQL function. Fails only by C++ exceptions.
using function_body = datum (*)(call &);

// Runs a body for a call of the host: shows it the arguments, hands back its result, and turns
// every exception into the host's own way of failing a statement, after all destructors of the
// body have run. While a body runs, `session clean-up` frees nothing. `name` is the function's, for
// reports; it lives as long as the library.
datum invoke(call_record *record, function_body body, const char *name = nullptr);

// The library's part in it: adds to the report of a call that has just failed which argument it was
// about, where it can tell. Hosts call it in `invoke`, once the destructors of the body have run.
void add_failure_context(const char *name, const call &frame) noexcept;

// Marks the running statement as one that the host must not repeat by itself. A host that never
// repeats statements does nothing here.
void StmtRetrySetQuerytUnsupportedFlag() noexcept;

inline constexpr function_info k_version_one{1};

} // namespace host

#define PKG_DBE_XML_EXPORT __attribute__((visibility("default")))

// Declares the SQL function `name`: its info record, its exported entry and, after the macro, the
// body in braces. The body sees the call as `call`.
#define PKG_DBE_XML_FUNCTION(name)                                                                 \
    static host::datum name##_body([[maybe_unused]] host::call &call);                             \
    extern "C" PKG_DBE_XML_EXPORT const host::function_info *pg_finfo_##name(void);                \
    extern "C" PKG_DBE_XML_EXPORT host::datum name(host::call_record *record);                     \
    extern "C" const host::function_info *pg_finfo_##name(void) { return &host::k_version_one; }   \
    extern "C" host::datum name(host::call_record *record) {                                       \
        return host::invoke(record, name##_body, #name);                                           \
    }                                                                                              \
    static host::datum name##_body([[maybe_unused]] host::call &call)

// Declares the SQL function `name`_returning, which does what `name` does and gives `result`
// instead; calls of it can be chained. Stands behind the body of `name`.
#define PKG_DBE_XML_RETURNING(name, result)                                                        \
    PKG_DBE_XML_FUNCTION(name##_returning) {                                                       \
        static_cast<void>(name##_body(call));                                                      \
        return result;                                                                             \
    }
