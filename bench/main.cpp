#include <benchmark/benchmark.h>

#include <algorithm>
#include <iomanip>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace {

/// Prints each benchmark's times, and their ratio to its floors: the benchmarks with its name, a
/// colon and a suffix.
class RatioReporter final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                GetErrorStream() << run.run_name.function_name << ": " << run.error_message << '\n';
                m_hasFailed = true;
            } else if (run.run_type == Run::RT_Iteration) {
                m_times[run.run_name.function_name].push_back(run.real_accumulated_time * 1e6 /
                                                              static_cast<double>(run.iterations));
            }
        }
    }

    void Finalize() override {
        auto& out = GetOutputStream() << std::fixed << std::setprecision(2);
        for (auto& [name, times] : m_times) {
            std::sort(times.begin(), times.end());
            out << name << ": " << quantile(times, 2) << " us (quartiles " << quantile(times, 1)
                << ", " << quantile(times, 3) << ")\n";
        }
        for (const auto& [floor, floorTimes] : m_times) {
            const auto measured = m_times.find(floor.substr(0, floor.find(':')));
            if (measured != m_times.end() && measured->first != floor) {
                // The best time of each side, too, since other load on the machine affects it
                // least.
                out << "ratio to \"" << floor
                    << "\": " << quantile(measured->second, 2) / quantile(floorTimes, 2)
                    << ", best to best " << measured->second.front() / floorTimes.front() << '\n';
            }
        }
    }

    bool hasFailed() const { return m_hasFailed; }

private:
    using Times = std::vector<double>;

    static double quantile(const Times& sorted, std::size_t quarters) {
        return sorted[(sorted.size() - 1) * quarters / 4];
    }

    std::map<std::string, Times> m_times;  // in microseconds
    bool m_hasFailed = false;
};

}  // namespace

int main(int argc, char** argv) {
    // Runs a benchmark and its floor in turns, so that they see the same machine. Options on the
    // command line come later and take precedence.
    std::vector<std::string> defaults{"--benchmark_enable_random_interleaving=true",
                                      "--benchmark_repetitions=21", "--benchmark_min_time=0.1"};
    std::vector<char*> arguments(argv, argv + argc);
    for (std::string& argument : defaults) {
        arguments.insert(arguments.begin() + 1, argument.data());
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.hasFailed() ? 1 : 0;
}
