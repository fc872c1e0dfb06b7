// Runs everything and prints, for each channel count, the times as ratios to soxr HQ's.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "block.h"

namespace {

/// The usual table, and the CPU times kept for the ratios.
class keeping_reporter : public benchmark::ConsoleReporter {
  public:
    keeping_reporter() : benchmark::ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string name = run.benchmark_name();
            const auto slash = name.find('/');
            const std::string group = name.substr(0, slash);
            if (times.count(group) == 0) {
                order.push_back(group);
            }
            times[group][name.substr(slash + 1)] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void print_ratios() {
        std::printf("\ntime per 32 ms block / soxr HQ's 48 to 16 kHz\n%-20s %8s %8s %8s\n", "",
                    "2 ch", "6 ch", "8 ch");
        for (const std::string& group : order) {
            std::printf("%-20s", group.c_str());
            for (const char* channels : {"2", "6", "8"}) {
                std::printf(" %8.2f", times[group][channels] / times["soxr_hq"][channels]);
            }
            std::printf("\n");
        }
    }

  private:
    std::vector<std::string> order;
    std::map<std::string, std::map<std::string, double>> times;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    register_stages();
    register_peers();
    keeping_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_ratios();
    return 0;
}
