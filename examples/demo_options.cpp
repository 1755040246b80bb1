#include "demo_options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace demo {
namespace {

// A numeric option: the same row reads it, refuses it and explains it.
struct NumberOption {
    const char* name;
    const char* meaning;
    double least, most;
    bool isWhole;
    void (*set)(Options& options, double value);
};

constexpr NumberOption numberOptions[] = {
    {"--paths", "paths of the option, and points for pi", 1, 1e12, true,
     [](Options& o, double v) { o.paths = static_cast<std::int64_t>(v); }},
    {"--seed", "seed of the streams", 0, 4294967295, true,
     [](Options& o, double v) { o.seed = static_cast<std::uint32_t>(v); }},
    {"--spot", "price of the asset today", 1e-6, 1e9, false,
     [](Options& o, double v) { o.call.spot = v; }},
    {"--strike", "price at which it may be bought", 1e-6, 1e9, false,
     [](Options& o, double v) { o.call.strike = v; }},
    {"--rate", "interest a year, 0.05 for 5 %", -1, 1, false,
     [](Options& o, double v) { o.call.rate = v; }},
    {"--volatility", "volatility a year, 0.2 for 20 %", 1e-4, 5, false,
     [](Options& o, double v) { o.call.volatility = v; }},
    {"--years", "time to expiry", 1e-4, 100, false, [](Options& o, double v) { o.call.years = v; }},
};

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string rangeOf(const NumberOption& option) {
    return std::string(option.isWhole ? "a whole number" : "a number") + " from " +
           shortNumber(option.least) + " to " + shortNumber(option.most);
}

double readNumber(const NumberOption& option, const std::string& text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value);
    const bool isNumber = error == std::errc() && last == end && std::isfinite(value);
    const bool isInRange = isNumber && value >= option.least && value <= option.most;
    if (!isInRange || (option.isWhole && value != std::floor(value))) {
        throw UsageError(std::string(option.name) + ": '" + text + "' is not " + rangeOf(option));
    }
    return value;
}

std::string lowerCase(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

std::string namesOf(const std::vector<Generator>& generators) {
    std::string names = "all";
    for (const Generator& generator : generators) names += std::string(", ") + generator.name;
    return names;
}

std::vector<Generator> chooseGenerators(const std::string& text,
                                        const std::vector<Generator>& present) {
    if (lowerCase(text) == "all") return present;
    const auto found = std::find_if(present.begin(), present.end(), [&](const Generator& known) {
        return lowerCase(known.name) == lowerCase(text);
    });
    if (found == present.end()) {
        throw UsageError("--generator: '" + text + "' is not one of " + namesOf(present));
    }
    return {*found};
}

// `--name value` and `--name=value` alike.
struct Argument {
    std::string name, value;
    bool hasValue;
};

Argument splitArgument(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (text.compare(0, 2, "--") != 0 || equals == std::string::npos) return {text, "", false};
    return {text.substr(0, equals), text.substr(equals + 1), true};
}

}  // namespace

Options readOptions(const std::vector<std::string>& arguments,
                    const std::vector<Generator>& present) {
    Options options;
    options.generators = present;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        Argument argument = splitArgument(arguments[i]);
        if (argument.name == "--help" || argument.name == "-h") {
            options.wantsHelp = true;
            continue;
        }
        const auto* number =
            std::find_if(std::begin(numberOptions), std::end(numberOptions),
                         [&](const NumberOption& option) { return argument.name == option.name; });
        const bool isNumber = number != std::end(numberOptions);
        if (!isNumber && argument.name != "--generator") {
            throw UsageError("'" + arguments[i] + "' is not an option; see --help");
        }
        if (!argument.hasValue) {
            if (i + 1 == arguments.size())
                throw UsageError(argument.name + ": its value is missing");
            argument.value = arguments[++i];
        }
        if (isNumber) {
            number->set(options, readNumber(*number, argument.value));
        } else {
            options.generators = chooseGenerators(argument.value, present);
        }
    }
    return options;
}

std::string helpText(const std::vector<Generator>& present) {
    std::string text =
        "usage: korvan_demo [OPTION VALUE]...\n"
        "Fills arrays, prices a European call and estimates pi with the random generators.\n\n";
    for (const NumberOption& option : numberOptions) {
        char row[160];
        std::snprintf(row, sizeof row, "  %-13s %s: %s\n", option.name, option.meaning,
                      rangeOf(option).c_str());
        text += row;
    }
    text += "  --generator   " + namesOf(present) + "\n";
    const Options defaults;
    char line[240];
    std::snprintf(
        line, sizeof line,
        "  --help        this text\n\n"
        "Without options: spot %g, strike %g, rate %g, volatility %g, years %g, %g paths, "
        "seed %u,\nall generators.",
        defaults.call.spot, defaults.call.strike, defaults.call.rate, defaults.call.volatility,
        defaults.call.years, static_cast<double>(defaults.paths), defaults.seed);
    return text + line +
           "  The copy of the library's kernels follows the processor;\n"
           "QVX_OVERRIDE_BRANCH_ID chooses another (docs/copies.md).\n";
}

}  // namespace demo
