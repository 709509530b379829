// What the writing of files asks of the host it is built into, and what it gives the host.
#pragma once

#include "host/path.hpp"

#include <cstddef>
#include <span>
#include <sys/stat.h>

namespace host {

// --- given by each host -------------------------------------------------------------------------

// Asked before each step. An error number makes the step fail with it, 0 lets it happen.
[[nodiscard]] int file_fault(file_step step) noexcept;
// Whether files may be made in the opened directory, whatever its path was; when not, the reason
// is in errno.
[[nodiscard]] bool may_write_in(int directory) noexcept;
// Asks for, and gives back, the right to hold `count` more descriptors; false with errno set.
[[nodiscard]] bool reserve_descriptors(int count) noexcept;
void release_descriptors(int count) noexcept;
// Brings what was written to disk: 0, or -1 with the reason in errno.
[[nodiscard]] int synchronise_file(int descriptor) noexcept;
// Sees to it that discard_open_files is called when the session ends without unwinding.
void watch_open_files() noexcept;

// --- given to the hosts -------------------------------------------------------------------------

// Which directory it is, by whatever path.
struct file_identity {
    dev_t device;
    ino_t number;
    bool operator==(const file_identity &) const noexcept = default;
};
// Of what `path` leads to; false when there is nothing.
[[nodiscard]] bool identify(const char *path, file_identity &identity) noexcept;
// Whether the opened directory is one of `places` or stands below one of them. `failed` tells that
// it could not be found out, with the reason in errno.
[[nodiscard]] bool stands_below(int directory, std::span<const file_identity> places,
                                bool &failed) noexcept;
// Whether `path`, which need not exist, is `base` or lies below it, links resolved.
[[nodiscard]] bool path_lies_below(const char *path, const char *base) noexcept;

} // namespace host
