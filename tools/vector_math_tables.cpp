// vector_math_tables: prints vectormath/ln_exp_tables.cpp, computed with MPFR.
//
// usage: vector_math_tables > vectormath/ln_exp_tables.cpp
//        vector_math_tables --check vectormath/ln_exp_tables.cpp
#include <mpfr.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "vectormath/ln_exp_tables.h"

namespace {

using korvan::LnTableRow;
using korvan::ScalarLnRow;

// A number far beyond two doubles.
class Wide {
  public:
    Wide() { mpfr_init2(value, 300); }
    Wide(const Wide&) = delete;
    Wide& operator=(const Wide&) = delete;
    ~Wide() { mpfr_clear(value); }
    double rounded() const { return mpfr_get_d(value, MPFR_RNDN); }
    // What is left after `part`.
    double minus(double part) const {
        Wide rest;
        mpfr_sub_d(rest.value, value, part, MPFR_RNDN);
        return rest.rounded();
    }
    // To a multiple of `unit`, a power of 2.
    double roundedTo(double unit) const {
        Wide scaled;
        mpfr_div_d(scaled.value, value, unit, MPFR_RNDN);
        mpfr_rint(scaled.value, scaled.value, MPFR_RNDN);
        return scaled.rounded() * unit;
    }
    mpfr_t value;
};

void setLog(Wide& result, double x) {
    mpfr_set_d(result.value, x, MPFR_RNDN);
    mpfr_log(result.value, result.value, MPFR_RNDN);
}

std::string text;

template <class... Numbers>
void addLine(const char* format, Numbers... numbers) {
    char line[128];
    std::snprintf(line, sizeof line, format, numbers...);
    text += line;
}

// hi + lo = -ln(512 + k) - 1013 ln 2 = -ln(1 + k/512) - 1022 ln 2.
void addLnTable() {
    text += "const LnTableRow lnTable[513] = {\n";
    for (int k = 0; k <= 512; ++k) {
        Wide log, ln2, sum;
        setLog(log, 512 + k);
        mpfr_const_log2(ln2.value, MPFR_RNDN);
        mpfr_mul_ui(sum.value, ln2.value, 1013, MPFR_RNDN);
        mpfr_add(sum.value, sum.value, log.value, MPFR_RNDN);
        mpfr_neg(sum.value, sum.value, MPFR_RNDN);
        // Multiples of ln2Hi's last place.  At the ends, where nothing but multiples of ln 2 is
        // summed up, exactly those of its two parts: then ln(1) is 0.
        double hi = sum.roundedTo(korvan::lnTableUnit), lo = sum.minus(hi);
        if (k == 0 || k == 512) {
            hi = -(k == 0 ? 1022 : 1023) * korvan::ln2Hi;
            lo = -(k == 0 ? 1022 : 1023) * korvan::ln2Lo;
        }
        addLine("    {%.17g, %.17g},\n", hi, lo);
    }
    text += "};\n\n";
}

void addScalarLnTable() {
    text += "const ScalarLnRow scalarLnTable[65] = {\n";
    for (int k = 0; k <= 64; ++k) {
        const double inverse = std::nearbyint(64.0 / (64 + k) * 0x1p20) * 0x1p-20;
        Wide log;
        setLog(log, inverse);
        mpfr_neg(log.value, log.value, MPFR_RNDN);
        const double hi = log.roundedTo(korvan::scalarLnTableUnit) + 0.0;  // no -0
        addLine("    {%.17g, %.17g, %.17g},\n", inverse, hi, log.minus(hi));
    }
    text += "};\n\n";
}

void addExpTable() {
    text += "const ExpTableRow expTable[64] = {\n";
    for (int j = 0; j < 64; ++j) {
        Wide power;
        mpfr_set_d(power.value, j / 64.0, MPFR_RNDN);
        mpfr_exp2(power.value, power.value, MPFR_RNDN);
        const double hi = power.rounded();
        addLine("    {%.17g, %.17g},\n", hi, power.minus(hi));
    }
    text += "};\n\n";
}

void addFineExpTable() {
    text += "const double fineExpTable[128] = {";
    for (int j = 0; j < 128; ++j) {
        Wide power;
        mpfr_set_d(power.value, j / 128.0, MPFR_RNDN);
        mpfr_exp2(power.value, power.value, MPFR_RNDN);
        addLine("%s%.17g,", j % 4 == 0 ? "\n    " : " ", power.rounded());
    }
    text += "\n};\n\n";
}

template <class Real>
void addColumn(const Real (&column)[16]) {
    for (int i = 0; i < 16; ++i) {
        addLine(sizeof(Real) == 8 ? "%s%.17g,%s" : "%s%.8eF,%s",
                i == 0       ? "    {"
                : i % 4 == 0 ? "     "
                             : " ",
                static_cast<double>(column[i]), i % 4 == 3 && i < 15 ? "\n" : "");
    }
    text += "},\n";
}

// The inverse of the middle of entry i, of 21 bits.
double inverseOf(int i) {
    const bool nextTo1 = i == 0 || i == 15;
    const double middle = (1 + (i + 0.5) / 16) / (i < 8 ? 1 : 2);
    return nextTo1 ? 1 : std::nearbyint(0x1p20 / middle) * 0x1p-20;
}

void addWideLnTable() {
    korvan::WideLnTable table;
    for (int i = 0; i < 16; ++i) {
        table.inverse[i] = inverseOf(i);
        // In the upper half e is one less than m's own exponent.
        Wide log, ln2;
        setLog(log, table.inverse[i]);
        mpfr_const_log2(ln2.value, MPFR_RNDN);
        if (i < 8) mpfr_set_zero(ln2.value, 1);
        mpfr_sub(log.value, ln2.value, log.value, MPFR_RNDN);
        table.hi[i] = log.roundedTo(korvan::wideLnTableUnit);
        table.lo[i] = log.minus(table.hi[i]);
    }
    text += "const WideLnTable wideLnTable = {\n";
    addColumn(table.inverse);
    addColumn(table.hi);
    addColumn(table.lo);
    text += "};\n\n";
}

void addWideExpTable() {
    korvan::WideExpTable table;
    for (int j = 0; j < 16; ++j) {
        Wide power;
        mpfr_set_d(power.value, j / 16.0, MPFR_RNDN);
        mpfr_exp2(power.value, power.value, MPFR_RNDN);
        table.hi[j] = power.rounded();
        table.lo[j] = power.minus(table.hi[j]);
    }
    text += "const WideExpTable wideExpTable = {\n";
    addColumn(table.hi);
    addColumn(table.lo);
    text += "};\n\n";
}

void addSingleTables() {
    korvan::SingleLnTable ln;
    korvan::SingleExpTable exp;
    for (int i = 0; i < 16; ++i) {
        Wide log, power;
        ln.inverse[i] = static_cast<float>(inverseOf(i));  // has the room for 21 bits
        setLog(log, ln.inverse[i]);
        ln.minusLn[i] = 0 - mpfr_get_flt(log.value, MPFR_RNDN);
        mpfr_set_d(power.value, i / 16.0, MPFR_RNDN);
        mpfr_exp2(power.value, power.value, MPFR_RNDN);
        exp.power[i] = mpfr_get_flt(power.value, MPFR_RNDN);
    }
    text += "const SingleLnTable singleLnTable = {\n";
    addColumn(ln.inverse);
    addColumn(ln.minusLn);
    text += "};\n\nconst SingleExpTable singleExpTable = {\n";
    addColumn(exp.power);
    text += "};\n\n";
}

}  // namespace

int main(int argc, char** argv) {
    text =
        "// Made by tools/vector_math_tables.cpp.\n"
        "#include \"vectormath/ln_exp_tables.h\"\n\n"
        "namespace korvan {\n\n"
        "// clang-format off\n\n";
    addLnTable();
    addScalarLnTable();
    addExpTable();
    addFineExpTable();
    addWideLnTable();
    addWideExpTable();
    addSingleTables();
    text += "// clang-format on\n\n}  // namespace korvan\n";
    if (argc == 1) return std::fputs(text.c_str(), stdout) < 0;
    if (argc != 3 || std::strcmp(argv[1], "--check") != 0) return 2;
    std::ifstream file(argv[2]);
    const std::string committed{std::istreambuf_iterator<char>(file), {}};
    if (committed == text) return 0;
    std::puts("the file differs from what this program prints");
    return 1;
}
