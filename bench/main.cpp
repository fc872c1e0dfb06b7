// Measures the stages, the filter in every width that this CPU has, beside well-kept peers, and
// prints tables of ratios. Google Benchmark's options go behind it.

#include <android/log.h>

#include <cstdio>
#include <string>
#include <vector>

#include "block.h"

namespace {

class keeping_reporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(),
                             run.error_message.c_str());
            } else if (run.aggregate_name == "min") {
                times[run.run_name.function_name] = run.GetAdjustedCPUTime();
            }
        }
    }
    block_times times;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    std::string options[] = {"--benchmark_repetitions=15", "--benchmark_min_time=0.004",
                             "--benchmark_enable_random_interleaving=true"};
    for (std::string& option : options) {
        arguments.insert(arguments.begin() + 1, option.data());
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    // Each stage is opened a thousand times, many without a coefficient file.
    __android_log_set_logger([](const __android_log_message*) {});
    register_stages();
    register_peers();
    keeping_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    print_tables(reporter.times);
    return 0;
}
