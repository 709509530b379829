// Arrays of texts of the server.
#include "host/text_array.hpp"

#include "guard.hpp"

#include "server.hpp"

extern "C" {
#include <catalog/pg_type.h>
#include <utils/array.h>
}

namespace host {

text_pairs pairs_of_array(datum array) {
    text_pairs pairs{pairs_fault::none, 0, nullptr};
    // Nothing here has a destructor; the copies that are made live as long as the call.
    guard([&pairs, array] {
        ArrayType *const whole = DatumGetArrayTypeP(array);
        const int dimensions = ARR_NDIM(whole);
        const int *const lengths = ARR_DIMS(whole);
        if (dimensions == 0) {
            return;
        }
        const bool fits =
            dimensions == 1 ? lengths[0] % 2 == 0 : dimensions == 2 && lengths[1] == 2;
        if (!fits || ARR_ELEMTYPE(whole) != TEXTOID) {
            pairs.fault = pairs_fault::shape;
            return;
        }
        if (array_contains_nulls(whole)) {
            pairs.fault = pairs_fault::null_member;
            return;
        }
        Datum *members = nullptr;
        int count = 0;
        deconstruct_array(whole, TEXTOID, -1, false, TYPALIGN_INT, &members, nullptr, &count);
        pairs.count = static_cast<std::size_t>(count) / 2;
        pairs.members = reinterpret_cast<datum *>(members);
    });
    return pairs;
}

text_table texts_of_array(datum array) {
    text_table table{pairs_fault::none, 0, 1, nullptr};
    guard([&table, array] {
        ArrayType *const whole = DatumGetArrayTypeP(array);
        const int dimensions = ARR_NDIM(whole);
        const bool fits = dimensions <= 1 || (dimensions == 2 && ARR_DIMS(whole)[1] == 2);
        if (!fits || ARR_ELEMTYPE(whole) != TEXTOID) {
            table.fault = pairs_fault::shape;
            return;
        }
        if (array_contains_nulls(whole)) {
            table.fault = pairs_fault::null_member;
            return;
        }
        Datum *members = nullptr;
        int count = 0;
        deconstruct_array(whole, TEXTOID, -1, false, TYPALIGN_INT, &members, nullptr, &count);
        table.columns = dimensions == 2 ? 2 : 1;
        table.rows = static_cast<std::size_t>(count) / table.columns;
        table.members = reinterpret_cast<datum *>(members);
    });
    return table;
}

} // namespace host
