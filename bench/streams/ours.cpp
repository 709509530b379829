// The same as plain.c by the library, on the standalone host: feed, next record, free it.
//
// usage: ours FILE RECORD_NAME      prints records, seconds of the processor, and peak memory in kB
// before and after
#include "standalone_session.hpp"

#include "host/memory.hpp"
#include "libxml/xml.hpp"
#include "stream/record_stream.hpp"

#include <sys/resource.h>

#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

double seconds() {
    std::timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

long peak() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
}

long take_records(pkg_dbe_xml::record_stream &stream) {
    long count = 0;
    while (pkg_dbe_xml::ready_record(stream) != nullptr) {
        const pkg_dbe_xml::xml_doc_ptr record = pkg_dbe_xml::take_record(stream);
        ++count;
    }
    return count;
}

long read(std::FILE *file, const std::string &name) {
    const std::string path = "//" + name;
    pkg_dbe_xml::stream_request request;
    request.path = path;
    const pkg_dbe_xml::record_stream_ptr stream = pkg_dbe_xml::begin_stream(request);
    std::vector<char> bytes(65536);
    long count = 0;
    for (std::size_t size = 0; (size = std::fread(bytes.data(), 1, bytes.size(), file)) != 0;) {
        pkg_dbe_xml::feed_bytes(*stream, {bytes.data(), size});
        count += take_records(*stream);
    }
    return pkg_dbe_xml::is_complete(*stream) ? count : -1;
}

} // namespace

int main(int count, char **arguments) {
    std::FILE *const file = count == 3 ? std::fopen(arguments[1], "rb") : nullptr;
    if (file == nullptr) {
        return 2;
    }
    host::standalone::begin_session();
    const long peak_before = peak();
    const double begin = seconds();
    const long records = read(file, arguments[2]);
    const double end = seconds();
    std::printf("%ld %.3f %ld %ld\n", records, end - begin, peak_before, peak());
    std::fclose(file);
    return host::standalone::end_session().nothing() && records > 0 ? 0 : 1;
}
