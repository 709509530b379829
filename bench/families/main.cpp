// Every family of functions on the standalone host, beside the bare libxml2 calls that do the same.
// What stands between the two is the library: the call, the handle, the registry, the result.
//
// Prints one table: nanoseconds of processor time for a step on either side, their ratio, and what
// each call of a function adds to libxml2's own work. Each figure is the smallest of the
// repetitions, which are run in a random order. All options of the benchmark library work, e.g.
//
//   bench_functions --benchmark_filter='search/' --benchmark_repetitions=20
#include "support.hpp"

#include <algorithm>
#include <map>
#include <vector>

namespace {

struct row {
    double here = 0; // nanoseconds; 0: not measured
    double bare = 0;
    double calls = 0;
};

// Keeps the smallest of the repetitions, and prints the table when all have run.
class table_reporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context & /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration) {
                continue;
            }
            const std::string &name = run.run_name.function_name;
            const std::size_t slash = name.rfind('/');
            const std::string pair = name.substr(0, slash);
            row &line = rows_[pair];
            const bool here = name.substr(slash + 1) == "here";
            double &smallest = here ? line.here : line.bare;
            const double nanoseconds =
                run.cpu_accumulated_time * 1e9 / static_cast<double>(run.iterations);
            smallest = smallest == 0 ? nanoseconds : std::min(smallest, nanoseconds);
            if (here) {
                line.calls = run.counters.at("calls").value;
            }
        }
    }

    void Finalize() override {
        std::printf("%-64s %12s %12s %8s %12s\n", "ns for each step", "here", "libxml2", "ratio",
                    "a call adds");
        std::string family;
        for (const std::string &name : bench::pairs()) {
            const auto found = rows_.find(name);
            if (found == rows_.end()) {
                continue; // filtered out
            }
            const row &line = found->second;
            const std::size_t slash = name.find('/');
            if (name.substr(0, slash) != family) {
                family = name.substr(0, slash);
                std::printf("%s\n", family.c_str());
            }
            print(name.substr(slash + 1), line);
        }
    }

  private:
    static void print(const std::string &name, const row &line) {
        std::printf("  %-62s %12.1f", name.c_str(), line.here);
        if (line.bare == 0) {
            std::printf(" %12s %8s %12.1f\n", "-", "-", line.here / line.calls);
        } else {
            // Below two nanoseconds there is nothing to compare with: a member is read.
            const bool comparable = line.bare >= 2;
            std::printf(" %12.1f", line.bare);
            comparable ? std::printf(" %8.2f", line.here / line.bare) : std::printf(" %8s", "-");
            std::printf(" %12.1f\n", (line.here - line.bare) / line.calls);
        }
    }

    std::map<std::string, row> rows_;
};

void enter_all() {
    bench::enter_reading();
    bench::enter_navigation();
    bench::enter_attributes();
    bench::enter_lists();
    bench::enter_search();
    bench::enter_new_nodes();
    bench::enter_changes();
    bench::enter_imports();
    bench::enter_documents();
    bench::enter_parsers();
    bench::enter_writing();
    bench::enter_release();
    bench::enter_packages();
    bench::enter_overviews();
}

} // namespace

int main(int argc, char **argv) {
    // The options given come behind these, and win.
    std::vector<std::string> options = {argv[0], "--benchmark_min_time=0.02",
                                        "--benchmark_repetitions=7",
                                        "--benchmark_enable_random_interleaving=true"};
    options.insert(options.end(), argv + 1, argv + argc);
    std::vector<char *> arguments;
    for (std::string &option : options) {
        arguments.push_back(option.data());
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    enter_all();
    table_reporter table;
    benchmark::RunSpecifiedBenchmarks(&table);
    benchmark::Shutdown();
}
