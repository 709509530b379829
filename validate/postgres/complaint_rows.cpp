// The rows of xmlschema.validate, in the server's tuplestore.
#include "complaint_rows.hpp"

#include "guarded.hpp"

#include "../../hosts/postgres/server.hpp"

#undef errfinish

extern "C" {
#include <access/tupdesc.h>
#include <funcapi.h>
#include <utils/tuplestore.h>
}

namespace pkg_dbe_xml::validation {

complaint_rows::complaint_rows(host::call &frame)
    : frame_(frame), store_(nullptr), shape_(nullptr) {
    auto *const record = reinterpret_cast<FunctionCallInfo>(&frame);
    guard([this, record] {
        InitMaterializedSRF(record, 0);
        const auto *const wanted = reinterpret_cast<const ReturnSetInfo *>(record->resultinfo);
        store_ = wanted->setResult;
        shape_ = wanted->setDesc;
    });
}

void complaint_rows::put(std::int32_t line, host::datum path, host::datum level,
                         host::datum message) {
    Datum values[] = {Int32GetDatum(line), path, level, message};
    bool nulls[] = {line == 0, path == 0, false, false};
    auto *const store = static_cast<Tuplestorestate *>(store_);
    auto *const shape = static_cast<TupleDesc>(shape_);
    guard([store, shape, &values, &nulls] {
        CHECK_FOR_INTERRUPTS();
        tuplestore_putvalues(store, shape, values, nulls);
    });
}

} // namespace pkg_dbe_xml::validation
