// Large objects of the standalone host: strings in the record of the session.
#include "host/large_object.hpp"

#include "host/lob.hpp"
#include "session_record.hpp"

#include <algorithm>
#include <cstring>
#include <string>

namespace host {

using standalone::current_session;

namespace {

standalone::numbered_object *find_object(object_number number) noexcept {
    for (standalone::numbered_object &object : current_session().objects) {
        if (object.number == number) {
            return &object;
        }
    }
    return nullptr;
}

// The object that is open under a descriptor.
standalone::numbered_object &object_of(int descriptor) noexcept {
    const std::vector<object_number> &open = current_session().open_objects;
    const auto place = static_cast<std::size_t>(descriptor);
    standalone::numbered_object *object = nullptr;
    if (descriptor >= 0 && place < open.size() && open[place] != k_no_object) {
        object = find_object(open[place]);
    }
    if (object == nullptr) {
        standalone::misuse("a large object used that is not open");
    }
    return *object;
}

} // namespace

object_number create_large_object() {
    standalone::fault_point(standalone::service::large_object);
    return standalone::make_numbered_object("");
}

int open_large_object(object_number number, object_use use) {
    standalone::fault_point(standalone::service::large_object);
    const standalone::numbered_object *object = find_object(number);
    if (object == nullptr) {
        standalone::raise_host_error("42704",
                                     "large object " + std::to_string(number) + " does not exist");
    }
    if (use == object_use::write && object->read_only) {
        standalone::raise_host_error("42501", "permission denied for large object " +
                                                  std::to_string(number));
    }
    std::vector<object_number> &open = current_session().open_objects;
    const auto place = std::ranges::find(open, k_no_object);
    if (place != open.end()) {
        *place = number;
        return static_cast<int>(place - open.begin());
    }
    open.push_back(number);
    return static_cast<int>(open.size()) - 1;
}

void close_large_object(int descriptor) noexcept {
    static_cast<void>(object_of(descriptor));
    current_session().open_objects[static_cast<std::size_t>(descriptor)] = k_no_object;
}

std::int64_t large_object_size(int descriptor) {
    standalone::fault_point(standalone::service::large_object);
    return object_of(descriptor).size;
}

std::size_t read_large_object(int descriptor, std::int64_t offset, char *bytes,
                              std::size_t length) {
    if (length > static_cast<std::size_t>(object_piece())) {
        standalone::misuse("more than a piece of a large object read at a time");
    }
    standalone::fault_point(standalone::service::large_object);
    if (standalone::fault_due(standalone::service::missing_slice)) {
        return 0;
    }
    const standalone::numbered_object &object = object_of(descriptor);
    const auto held = static_cast<std::int64_t>(object.bytes.size());
    const auto count =
        std::clamp<std::int64_t>(object.size - offset, 0, static_cast<std::int64_t>(length));
    const auto from_bytes = std::clamp<std::int64_t>(held - offset, 0, count);
    std::memset(bytes, 0, static_cast<std::size_t>(count));
    if (from_bytes != 0) {
        std::memcpy(bytes, object.bytes.data() + offset, static_cast<std::size_t>(from_bytes));
    }
    return static_cast<std::size_t>(count);
}

void write_large_object(int descriptor, std::int64_t offset, const char *bytes,
                        std::size_t length) {
    standalone::fault_point(standalone::service::large_object);
    standalone::numbered_object &object = object_of(descriptor);
    const std::size_t end = static_cast<std::size_t>(offset) + length;
    if (object.length_only) {
        object.size = std::max(object.size, static_cast<std::int64_t>(end));
        return;
    }
    if (object.bytes.size() < end) {
        object.bytes.resize(end);
    }
    object.bytes.replace(static_cast<std::size_t>(offset), length, bytes, length);
    object.size = std::max(object.size, static_cast<std::int64_t>(object.bytes.size()));
}

void truncate_large_object(int descriptor, std::int64_t length) {
    standalone::fault_point(standalone::service::large_object);
    standalone::numbered_object &object = object_of(descriptor);
    if (!object.length_only) {
        object.bytes.resize(static_cast<std::size_t>(length));
    }
    object.size = length;
}

std::int64_t object_piece() noexcept { return std::min(k_object_piece, piece_size()); }

namespace standalone {

object_number make_numbered_object(std::string_view bytes) {
    session &own = current_session();
    const object_number number = ++own.last_object;
    own.objects.push_back(
        {number, std::string(bytes), static_cast<std::int64_t>(bytes.size()), false, false});
    return number;
}

void set_object_size(object_number number, std::int64_t size) noexcept {
    if (numbered_object *object = find_object(number)) {
        object->size = size;
    }
}

void forbid_writing(object_number number) noexcept {
    if (numbered_object *object = find_object(number)) {
        object->read_only = true;
    }
}

void keep_length_only(object_number number) noexcept {
    if (numbered_object *object = find_object(number)) {
        object->length_only = true;
    }
}

std::int64_t size_of_object(object_number number) {
    const numbered_object *object = find_object(number);
    if (object == nullptr) {
        misuse("a large object that does not exist");
    }
    return object->size;
}

std::string bytes_of_object(object_number number) {
    const numbered_object *object = find_object(number);
    if (object == nullptr) {
        misuse("a large object that does not exist");
    }
    return object->bytes;
}

std::size_t count_of_objects() noexcept { return current_session().objects.size(); }

std::size_t open_objects() noexcept {
    const std::vector<object_number> &open = current_session().open_objects;
    return open.size() - static_cast<std::size_t>(std::ranges::count(open, k_no_object));
}

} // namespace standalone
} // namespace host
