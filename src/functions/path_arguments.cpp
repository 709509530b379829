// Arguments of functions that take paths.
#include "functions/path_arguments.hpp"

#include "host/encoding.hpp"
#include "host/text_array.hpp"
#include "path_reports.hpp"

#include <new>

namespace pkg_dbe_xml {

std::string_view utf8_text(host::datum value) {
    const std::string_view stored = host::text_view(host::pg_detoast_datum(value));
    const int encoding = host::mb_get_database_encoding();
    if (encoding == host::k_utf8) {
        return stored;
    }
    // The conversion reads its argument only, and gives it back where there is nothing to do.
    char *const source = const_cast<char *>(stored.data());
    const char *const converted =
        host::mb_do_encoding_conversion(source, stored.size(), encoding, host::k_utf8, false);
    return converted == source ? stored : std::string_view(converted);
}

std::span<const path_binding> bindings_argument(const host::call &call, const package_call &here,
                                                int index) {
    if (call.is_null(index)) {
        return {};
    }
    const host::text_pairs pairs = host::pairs_of_array(call.value(index));
    if (pairs.fault == host::pairs_fault::shape) {
        here.fail(reports::path_bindings_shape, index);
    }
    if (pairs.fault == host::pairs_fault::null_member) {
        here.fail(reports::path_bindings_null, index);
    }
    auto *const bindings = static_cast<path_binding *>(host::mmgr_memory_alloc_from_controller(
        host::current_memory_context(), (pairs.count + 1) * sizeof(path_binding)));
    for (std::size_t pair = 0; pair < pairs.count; ++pair) {
        new (bindings + pair) path_binding{utf8_text(pairs.members[2 * pair]),
                                           utf8_text(pairs.members[2 * pair + 1])};
    }
    return {bindings, pairs.count};
}

} // namespace pkg_dbe_xml
