// Where the server keeps its own files.
#pragma once

namespace host {

// Whether the opened directory is the data directory, the directory of the write-ahead log or that
// of a tablespace, or stands below one of them. `failed` tells that it could not be found out, with
// the reason in errno.
[[nodiscard]] bool stands_in_own_directory(int directory, bool &failed) noexcept;

} // namespace host
