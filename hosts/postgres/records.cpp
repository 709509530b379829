// Rows of several columns: the server's tuplestore, filled through the types' input functions.
#include "host/records.hpp"

#include "guard.hpp"
#include "simple_values.hpp"

#include <algorithm>

#include "server.hpp"

extern "C" {
#include <access/htup_details.h>
#include <access/tupdesc.h>
#include <catalog/pg_language.h>
#include <catalog/pg_proc.h>
#include <catalog/pg_type.h>
#include <funcapi.h>
#include <nodes/execnodes.h>
#include <parser/parse_coerce.h>
#if PG_VERSION_NUM >= 160000
#include <nodes/miscnodes.h>
#endif
#include <utils/array.h>
#include <utils/builtins.h>
#include <utils/lsyscache.h>
#include <utils/syscache.h>
#include <utils/tuplestore.h>
}

namespace host {

namespace {

constexpr std::size_t k_function_info = 0; // of call::own_words
constexpr std::size_t k_result_info = 2;
constexpr int k_longest_shown = 100; // bytes of a value in a report
constexpr std::int64_t k_rows_between_resets = 64;

// How the texts of a column become values.
struct column_input {
    FmgrInfo input;
    Oid io_parameter;
    std::int32_t modifier;
    Oid type; // that texts are converted to: of an array its members'
    simple_type simple;
    column_form form;
    // Of an array:
    std::int16_t length;
    bool by_value;
    char alignment;
    bool in_domain; // the array is converted once more, to a domain over arrays
    FmgrInfo array_output;
    FmgrInfo domain_input;
    Oid domain_parameter;
};

// What is known of a list of columns. Kept with the function's call information, since a statement
// may call it again for each row of another table.
struct column_list {
    TupleDesc shape;
    bool runs_code;
    column_input columns[FLEXIBLE_ARRAY_MEMBER];
};

} // namespace

// What a conversion that raises was about.
enum class conversion : std::uint8_t {
    none,
    of_value,
    of_unshown, // a value that the encoding of the database may lack
    of_missing  // a null is being asked about
};

struct record_state {
    Tuplestorestate *store;
    column_list *list;
    MemoryContext row_memory;        // of a few rows
    const std::string_view *sources; // in the encoding of the database
    bool null_on_error;
    bool starts_over; // the rows in the store do not count
    std::int64_t row; // of the set, from 1; for reports
    int column;
    conversion under_way;
    const char *value; // that is being converted, of `size` bytes, where it can be shown
    std::size_t size;
    Datum *values;
    bool *nulls;
};

namespace {

// --- columns
// --------------------------------------------------------------------------------------

// Whether the text of a type is read by functions of the server's own, which call nobody else's.
// Raises.
bool is_server_code(Oid type) {
    switch (get_typtype(type)) {
    case TYPTYPE_ENUM:
        return true;
    case TYPTYPE_BASE:
        break;
    default: // domains, composites and ranges are made of others
        return false;
    }
    if (const Oid member = get_element_type(type); OidIsValid(member)) {
        return is_server_code(member);
    }
    Oid function = InvalidOid;
    Oid parameter = InvalidOid;
    getTypeInputInfo(type, &function, &parameter);
    const HeapTuple found = SearchSysCache1(PROCOID, ObjectIdGetDatum(function));
    if (!HeapTupleIsValid(found)) {
        return false;
    }
    const Oid language = reinterpret_cast<Form_pg_proc>(GETSTRUCT(found))->prolang;
    ReleaseSysCache(found);
    return language == INTERNALlanguageId;
}

// Raises.
void prepare_array(column_input &column, Oid type, Oid array, MemoryContext memory) {
    get_typlenbyvalalign(column.type, &column.length, &column.by_value, &column.alignment);
    column.in_domain = array != type;
    if (!column.in_domain) {
        return;
    }
    Oid function = InvalidOid;
    bool is_varlena = false;
    getTypeOutputInfo(array, &function, &is_varlena);
    fmgr_info_cxt(function, &column.array_output, memory);
    getTypeInputInfo(type, &function, &column.domain_parameter);
    fmgr_info_cxt(function, &column.domain_input, memory);
}

// Raises.
void prepare_column(column_input &column, const FormData_pg_attribute &attribute,
                    MemoryContext memory) {
    const Oid type = attribute.atttypid;
    column.modifier = attribute.atttypmod;
    Oid array = type;
    Oid member = get_element_type(type);
    if (!OidIsValid(member) && get_typtype(type) == TYPTYPE_DOMAIN) {
        array = getBaseTypeAndTypmod(type, &column.modifier);
        member = get_element_type(array);
        if (!OidIsValid(member)) {
            column.modifier = attribute.atttypmod;
        }
    }
    column.form.array = OidIsValid(member);
    column.type = column.form.array ? member : type;
    Oid function = InvalidOid;
    getTypeInputInfo(column.type, &function, &column.io_parameter);
    fmgr_info_cxt(function, &column.input, memory);
    const Oid base = getBaseType(column.type);
    column.form.markup = base == XMLOID;
    column.form.numeric = TypeCategory(base) == TYPCATEGORY_NUMERIC;
    column.simple = simple_type_of(column.type, column.modifier, function);
    if (column.form.array) {
        prepare_array(column, type, array, memory);
    }
}

// Whether two lists of columns are the same, names included.
bool is_same_list(TupleDesc one, TupleDesc other) {
    if (one->natts != other->natts) {
        return false;
    }
    for (int column = 0; column < one->natts; ++column) {
        const FormData_pg_attribute &left = *TupleDescAttr(one, column);
        const FormData_pg_attribute &right = *TupleDescAttr(other, column);
        if (left.atttypid != right.atttypid || left.atttypmod != right.atttypmod ||
            strcmp(NameStr(left.attname), NameStr(right.attname)) != 0) {
            return false;
        }
    }
    return true;
}

// What is known of the columns that the caller lists, from the call before where they are the same.
// Raises.
column_list *known_columns(FmgrInfo &function, TupleDesc wanted) {
    auto *const known = static_cast<column_list *>(function.fn_extra);
    if (known != nullptr && is_same_list(known->shape, wanted)) {
        return known;
    }
    const MemoryContext before = MemoryContextSwitchTo(function.fn_mcxt);
    const auto count = static_cast<std::size_t>(wanted->natts);
    auto *const list = static_cast<column_list *>(
        palloc0(offsetof(column_list, columns) + count * sizeof(column_input)));
    list->shape = CreateTupleDescCopy(wanted);
    for (std::size_t column = 0; column < count; ++column) {
        const FormData_pg_attribute &attribute =
            *TupleDescAttr(list->shape, static_cast<int>(column));
        prepare_column(list->columns[column], attribute, function.fn_mcxt);
        list->runs_code = list->runs_code || !is_server_code(attribute.atttypid);
    }
    MemoryContextSwitchTo(before);
    function.fn_extra = list;
    return list;
}

// Raises.
record_state *open_records(FmgrInfo &function, ReturnSetInfo &wanted, bool null_on_error) {
    column_list *const list = known_columns(function, wanted.expectedDesc);
    const MemoryContext before = MemoryContextSwitchTo(wanted.econtext->ecxt_per_query_memory);
    const bool random = (wanted.allowedModes & SFRM_Materialize_Random) != 0;
    Tuplestorestate *const store = tuplestore_begin_heap(random, false, work_mem);
    wanted.returnMode = SFRM_Materialize;
    wanted.setResult = store;
    wanted.setDesc = nullptr; // the caller's, by which the rows are made
    MemoryContextSwitchTo(before);

    const auto count = static_cast<std::size_t>(list->shape->natts);
    auto *const state = static_cast<record_state *>(palloc0(sizeof(record_state)));
    state->store = store;
    state->list = list;
    state->null_on_error = null_on_error;
    state->row_memory =
        AllocSetContextCreate(before, "rows of pkg_dbe_xml", ALLOCSET_DEFAULT_SIZES);
    state->values = static_cast<Datum *>(palloc(count * sizeof(Datum)));
    state->nulls = static_cast<bool *>(palloc(count * sizeof(bool)));
    return state;
}

// --- conversion ---------------------------------------------------------------------------------

// The server asks it for a line of CONTEXT when a conversion raises.
void describe_value(void *argument) {
    const auto &state = *static_cast<const record_state *>(argument);
    if (state.under_way == conversion::none) {
        return;
    }
    const char *const column = NameStr(TupleDescAttr(state.list->shape, state.column)->attname);
    const auto row = static_cast<long long>(state.row);
    const std::string_view source = state.sources[state.column];
    const auto length = static_cast<int>(source.size());
    if (state.under_way != conversion::of_value) {
        errcontext("row %lld, column \"%s\", path \"%.*s\"%s", row, column, length, source.data(),
                   state.under_way == conversion::of_missing ? ", no value" : "");
        return;
    }
    const auto size = static_cast<int>(state.size);
    const int shown = pg_mbcliplen(state.value, size, k_longest_shown);
    errcontext("row %lld, column \"%s\", path \"%.*s\", value \"%.*s%s\"", row, column, length,
               source.data(), shown, state.value, shown < size ? "..." : "");
}

void show_value(record_state &state, const char *value, std::size_t size) {
    state.under_way = conversion::of_value;
    state.value = value;
    state.size = size;
}

// Calls an input function; false where nulls are made of failures and this is one. Raises.
bool call_input(const record_state &state, FmgrInfo &input, char *text, Oid parameter,
                std::int32_t modifier, Datum &value) {
#if PG_VERSION_NUM >= 160000
    if (state.null_on_error) {
        ErrorSaveContext failure = {T_ErrorSaveContext, false, false, nullptr};
        return InputFunctionCallSafe(&input, text, parameter, modifier,
                                     reinterpret_cast<Node *>(&failure), &value);
    }
#else
    static_cast<void>(state); // a failure raises
#endif
    value = InputFunctionCall(&input, text, parameter, modifier);
    return true;
}

// The value of a text; false where nulls are made of failures and this is one. Raises.
bool convert_text(record_state &state, column_input &column, std::string_view utf8, Datum &value) {
    char *text = const_cast<char *>(utf8.data());
    std::size_t size = utf8.size();
    // That of a tree is valid UTF-8, so it need not be looked at where the database has it too.
    if (GetDatabaseEncoding() != PG_UTF8) {
        state.under_way = conversion::of_unshown;
        text = pg_any_to_server(text, static_cast<int>(size), PG_UTF8);
        size = strlen(text);
    }
    show_value(state, text, size);
    const bool is_of_batch = text == utf8.data(); // which leaves a byte before it
    const bool converted =
        make_simple_value(column.simple, text, size, is_of_batch, value) ||
        call_input(state, column.input, text, column.io_parameter, column.modifier, value);
    state.under_way = conversion::none;
    return converted;
}

// A missing value is null. Domains are asked about nulls too, all other input functions are strict.
// Raises.
void fill_missing(record_state &state, FmgrInfo &input, Oid parameter, std::int32_t modifier) {
    state.nulls[state.column] = true;
    if (!input.fn_strict) {
        state.under_way = conversion::of_missing;
        Datum none = 0;
        static_cast<void>(call_input(state, input, nullptr, parameter, modifier, none));
        state.under_way = conversion::none;
    }
}

// An array as a value of a domain over arrays. Raises.
void put_array_in_domain(record_state &state, column_input &column) {
    char *const text = OutputFunctionCall(&column.array_output, state.values[state.column]);
    show_value(state, text, strlen(text));
    state.nulls[state.column] = !call_input(
        state, column.domain_input, text, column.domain_parameter, -1, state.values[state.column]);
    state.under_way = conversion::none;
}

// Raises.
void fill_array(record_state &state, column_input &column, const record_batch &batch,
                std::size_t cell) {
    const std::size_t count = batch.text_count(cell);
    if (count == 0) {
        if (column.in_domain) {
            fill_missing(state, column.domain_input, column.domain_parameter, -1);
        }
        state.nulls[state.column] = true;
        return;
    }
    auto *const values = static_cast<Datum *>(palloc(count * sizeof(Datum)));
    auto *const nulls = static_cast<bool *>(palloc(count * sizeof(bool)));
    for (std::size_t number = 0; number < count; ++number) {
        nulls[number] = !convert_text(state, column, batch.text(cell, number), values[number]);
    }
    int lengths[1] = {static_cast<int>(count)};
    int starts[1] = {1};
    ArrayType *const array = construct_md_array(values, nulls, 1, lengths, starts, column.type,
                                                column.length, column.by_value, column.alignment);
    state.values[state.column] = PointerGetDatum(array);
    state.nulls[state.column] = false;
    if (column.in_domain) {
        put_array_in_domain(state, column);
    }
}

// Raises.
void fill_cell(record_state &state, const record_batch &batch, std::size_t cell) {
    column_input &column = state.list->columns[state.column];
    if (column.form.array) {
        fill_array(state, column, batch, cell);
    } else if (batch.text_count(cell) == 0) {
        fill_missing(state, column.input, column.io_parameter, column.modifier);
    } else {
        state.nulls[state.column] =
            !convert_text(state, column, batch.text(cell, 0), state.values[state.column]);
    }
}

// Raises.
void fill_rows(record_state &state, const record_batch &batch) {
    ErrorContextCallback callback{};
    callback.previous = error_context_stack;
    callback.callback = describe_value;
    callback.arg = &state;
    error_context_stack = &callback;
    if (state.starts_over) {
        tuplestore_clear(state.store);
        state.starts_over = false;
        state.row = 0;
    }
    const MemoryContext before = MemoryContextSwitchTo(state.row_memory);
    const std::size_t cells = batch.cell_count();
    const TupleDesc shape = state.list->shape;
    for (std::size_t cell = 0; cell < cells;) {
        CHECK_FOR_INTERRUPTS();
        ++state.row;
        for (state.column = 0; state.column < shape->natts; ++state.column, ++cell) {
            fill_cell(state, batch, cell);
        }
        tuplestore_putvalues(state.store, shape, state.values, state.nulls);
        if (state.row % k_rows_between_resets == 0) {
            MemoryContextReset(state.row_memory);
        }
    }
    MemoryContextSwitchTo(before);
    MemoryContextReset(state.row_memory);
    error_context_stack = callback.previous;
}

} // namespace

// --- the set ------------------------------------------------------------------------------------

records_fault record_set::fault(const call &frame, bool null_on_error) noexcept {
    const auto *const wanted = static_cast<const ReturnSetInfo *>(frame.own_words[k_result_info]);
    if (wanted == nullptr || !IsA(wanted, ReturnSetInfo) ||
        (wanted->allowedModes & SFRM_Materialize) == 0 || wanted->expectedDesc == nullptr) {
        return records_fault::no_columns;
    }
    return null_on_error && PG_VERSION_NUM < 160000 ? records_fault::no_nulls_on_error
                                                    : records_fault::none;
}

record_set::record_set(call &frame, bool null_on_error) : frame_(frame), state_(nullptr) {
    auto *const function = static_cast<FmgrInfo *>(frame.own_words[k_function_info]);
    auto *const wanted = static_cast<ReturnSetInfo *>(frame.own_words[k_result_info]);
    record_state *opened = nullptr;
    guard([&opened, function, wanted, null_on_error] {
        opened = open_records(*function, *wanted, null_on_error);
    });
    state_ = opened;
}

std::size_t record_set::column_count() const noexcept {
    return static_cast<std::size_t>(state_->list->shape->natts);
}

column_form record_set::form_of(std::size_t column) const noexcept {
    return state_->list->columns[column].form;
}

bool record_set::runs_code() const noexcept { return state_->list->runs_code; }

std::string_view record_set::column_name(std::size_t column) const {
    char *name = NameStr(TupleDescAttr(state_->list->shape, static_cast<int>(column))->attname);
    if (GetDatabaseEncoding() != PG_UTF8) {
        guard([&name] { name = pg_server_to_any(name, static_cast<int>(strlen(name)), PG_UTF8); });
    }
    return name;
}

void record_set::set_sources(const std::string_view *sources) {
    record_state &state = *state_;
    state.sources = sources;
    if (GetDatabaseEncoding() == PG_UTF8) {
        return;
    }
    guard([&state, sources] {
        const auto count = static_cast<std::size_t>(state.list->shape->natts);
        auto *const converted =
            static_cast<std::string_view *>(palloc(count * sizeof(std::string_view)));
        for (std::size_t column = 0; column < count; ++column) {
            char *const copy = pnstrdup(sources[column].data(), sources[column].size());
            converted[column] =
                pg_any_to_server(copy, static_cast<int>(sources[column].size()), PG_UTF8);
        }
        state.sources = converted;
    });
}

void record_set::put(const record_batch &batch) {
    record_state &state = *state_;
    guard([&state, &batch] { fill_rows(state, batch); });
}

void record_set::start_over() noexcept { state_->starts_over = true; }

datum record_set::finish() noexcept { return frame_.null(); }

} // namespace host
