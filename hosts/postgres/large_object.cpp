// Large objects of the server, through the functions that its clients use: these check privileges
// and read-only transactions, and what is left open they close when the transaction, or the
// subtransaction in which it was opened, ends.
#include "host/large_object.hpp"

#include "guard.hpp"
#include "settings.hpp"

#include <algorithm>

#include "server.hpp"

extern "C" {
#include <libpq/be-fsstubs.h>
#include <libpq/libpq-fs.h>
#include <utils/fmgroids.h>
}

namespace host {

namespace {

void seek(int descriptor, std::int64_t offset, int from) {
    OidFunctionCall3(F_LO_LSEEK64, Int32GetDatum(descriptor), Int64GetDatum(offset),
                     Int32GetDatum(from));
}

} // namespace

object_number create_large_object() {
    Oid number = InvalidOid;
    guard([&] {
        number = DatumGetObjectId(OidFunctionCall1(F_LO_CREATE, ObjectIdGetDatum(InvalidOid)));
    });
    return number;
}

int open_large_object(object_number number, object_use use) {
    const int mode = use == object_use::read ? INV_READ : INV_WRITE;
    int descriptor = -1;
    guard([&] {
        descriptor = DatumGetInt32(
            OidFunctionCall2(F_LO_OPEN, ObjectIdGetDatum(number), Int32GetDatum(mode)));
    });
    return descriptor;
}

void close_large_object(int descriptor) noexcept {
    const guarded_step close = [](void *state) noexcept {
        OidFunctionCall1(F_LO_CLOSE, Int32GetDatum(*static_cast<int *>(state)));
    };
    // Fails only for what is not open; the end of the transaction closes it in any case.
    server_error ignored{nullptr};
    static_cast<void>(run_and_keep(close, &descriptor, ignored));
}

std::int64_t large_object_size(int descriptor) {
    std::int64_t size = 0;
    guard([&] {
        seek(descriptor, 0, SEEK_END);
        size = DatumGetInt64(OidFunctionCall1(F_LO_TELL64, Int32GetDatum(descriptor)));
    });
    return size;
}

std::size_t read_large_object(int descriptor, std::int64_t offset, char *bytes,
                              std::size_t length) {
    int count = 0;
    guard([&] {
        seek(descriptor, offset, SEEK_SET);
        count = ::lo_read(descriptor, bytes, static_cast<int>(length));
    });
    return static_cast<std::size_t>(std::max(count, 0));
}

void write_large_object(int descriptor, std::int64_t offset, const char *bytes,
                        std::size_t length) {
    guard([&] {
        seek(descriptor, offset, SEEK_SET);
        // Writes everything or fails.
        static_cast<void>(::lo_write(descriptor, bytes, static_cast<int>(length)));
    });
}

void truncate_large_object(int descriptor, std::int64_t length) {
    guard([&] {
        OidFunctionCall2(F_LO_TRUNCATE64, Int32GetDatum(descriptor), Int64GetDatum(length));
    });
}

std::int64_t object_piece() noexcept { return large_object_piece_setting; }

} // namespace host
