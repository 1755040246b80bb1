// The demo: for every generator of the library the time of its fills, and two Monte Carlo jobs
// beside their exact answers.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

#include "demo_options.h"
#include "demo_runs.h"

namespace demo {
namespace {

// 1234567 as 1,234,567.
std::string grouped(std::int64_t value) {
    std::string text = std::to_string(value);
    for (auto at = static_cast<int>(text.size()) - 3; at > 0; at -= 3) {
        text.insert(static_cast<std::size_t>(at), 1, ',');
    }
    return text;
}

// A line on the terminal that tells how far a job is; nothing where stderr is no terminal.
class ProgressLine {
  public:
    ProgressLine(const char* name, const char* job) : name_(name), job_(job) {}
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() {
        if (isShown_) std::fputs("\r\033[K", stderr);
    }

    void show(double done) {
        const auto now = std::chrono::steady_clock::now();
        if (!isTerminal_ || now < next_) return;
        next_ = now + std::chrono::milliseconds(200);
        isShown_ = true;
        std::fprintf(stderr, "\r\033[K%s, %s: %.0f %%", name_, job_, 100 * done);
        std::fflush(stderr);
    }

  private:
    const char* name_;
    const char* job_;
    bool isTerminal_ = isatty(STDERR_FILENO) != 0;
    bool isShown_ = false;
    // Short jobs need no progress.
    std::chrono::steady_clock::time_point next_ =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
};

void printRule() {
    std::printf("%s\n", std::string(79, '-').c_str());
}

// One table row for each generator; what a generator can't do on this processor is told in its row.
template <class Row>
void printRows(const Options& options, Row row) {
    printRule();
    for (const Generator& generator : options.generators) {
        std::string text;
        try {
            text = row(generator);
        } catch (const Failure& failure) {
            text = std::string("  ") + failure.what();
        }
        std::printf("%-17s%s\n", generator.name, text.c_str());
        std::fflush(stdout);
    }
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[160];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

void printFills(const Options& options) {
    std::printf("\nFills of %s elements: nanoseconds an element\n", grouped(fillElements).c_str());
    std::printf("%-17s%15s%15s%15s%15s\n", "generator", "words", "singles", "doubles", "integers");
    printRows(options, [&](const Generator& generator) {
        const FillTimes t = timeFills(generator, options.seed);
        return formatted("%15.3f%15.3f%15.3f%15.3f", t.words, t.singles, t.doubles, t.integers);
    });
}

// `run` makes the estimate of one generator, telling its progress.
template <class Run>
void printEstimates(const Options& options, const char* job, const char* unit, double exact,
                    Run run) {
    std::printf("%-17s%13s%11s%13s%13s%12s\n", "generator", "value", "std. error", "exact",
                "off by", unit);
    printRows(options, [&](const Generator& generator) {
        ProgressLine line(generator.name, job);
        const Estimate e = run(generator, [&](double done) { line.show(done); });
        const double off = (e.value - exact) / e.standardError;
        const std::string error =
            std::isnan(e.standardError) ? "-" : formatted("%.2g", e.standardError);
        const std::string offBy = std::isfinite(off) ? formatted("%+.2f s.e.", off) : "-";
        return formatted("%13.7g%11s%13.7g%13s%12.2f", e.value, error.c_str(), exact, offBy.c_str(),
                         e.nanoseconds);
    });
}

void run(const Options& options) {
    const Call& call = options.call;
    std::printf("Korvan Random %d.%d, copy %s (branch %d), seed %u\n", KORVAN_RANDOM_VERSION_MAJOR,
                KORVAN_RANDOM_VERSION_MINOR, vslGetCopyName(), vslGetBranchNumber(), options.seed);
    printFills(options);
    std::printf("\nEuropean call, %s paths: spot %g, strike %g, rate %g, volatility %g, years %g\n",
                grouped(options.paths).c_str(), call.spot, call.strike, call.rate, call.volatility,
                call.years);
    printEstimates(options, "call", "ns a path", exactPrice(call),
                   [&](const Generator& generator, const Progress& progress) {
                       return priceCall(generator, options.seed, call, options.paths, progress);
                   });
    std::printf("\nPi from %s points in the square\n", grouped(options.paths).c_str());
    printEstimates(options, "pi", "ns a point", std::numbers::pi,
                   [&](const Generator& generator, const Progress& progress) {
                       return estimatePi(generator, options.seed, options.paths, progress);
                   });
}

}  // namespace
}  // namespace demo

int main(int argc, char** argv) try {
    const std::vector<demo::Generator> present = demo::presentGenerators();
    const demo::Options options = demo::readOptions({argv + 1, argv + argc}, present);
    if (options.wantsHelp) {
        std::fputs(demo::helpText(present).c_str(), stdout);
        return 0;
    }
    demo::run(options);
    return std::ferror(stdout) ? 1 : 0;
} catch (const demo::UsageError& error) {
    std::fprintf(stderr, "korvan_demo: %s\n", error.what());
    return 2;
} catch (const std::exception& error) {
    std::fprintf(stderr, "korvan_demo: %s\n", error.what());
    return 1;
}
