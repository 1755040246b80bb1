// What a failing element does, in every error mode.
#include <fenv.h>
#include <xmmintrin.h>

#include <cerrno>
#include <csignal>
#include <limits>

#include "support.h"
#include "vector_calls.h"
#include "vectormath/error_path.h"

namespace korvan::testing {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

thread_local VmlErrorContext seen;
thread_local std::int32_t calls;  // from 0 on each fresh thread

std::int32_t writeFive(VmlErrorContext* context) {
    seen = *context;
    ++calls;
    context->result1 = 5;
    return 0;
}
std::int32_t refuse(VmlErrorContext* context) {
    writeFive(context);
    return 1;
}
// Calls the library on another failing element.
std::int32_t callBack(VmlErrorContext* context) {
    if (context->input1 == 0) {
        double y[3];
        const double x[3] = {1, -4, 1};
        vectorKernels().vdLn->ha(3, x, y);
        context->result1 = y[1] == 5 ? y[0] - 7 : 0;
        return 0;
    }
    return writeFive(context);
}

double ln(double x) {
    double y;
    vectorKernels().vdLn->ha(1, &x, &y);
    return y;
}

// errno, after the mode's bits alone were set.
int errnoAfter(ModeWord errors, double x) {
    setModeWord(errors);
    errno = 0;
    ln(x);
    return errno;
}

TEST(VectorErrors, ACallbackReplacesOrRefuses) {
    onFreshThread([] {
        EXPECT_EQ(setErrorCallback(writeFive), nullptr);
        EXPECT_EQ(ln(0), 5);
        EXPECT_EQ(setErrorCallback(refuse), writeFive);
        errno = 0;
        EXPECT_EQ(ln(0), -infinity);
        EXPECT_EQ(errno, 0) << "refused: not reported either";
        EXPECT_EQ(lastVmlStatus(), VML_STATUS_SING);
        setErrorCallback(callBack);
        EXPECT_EQ(ln(0), -7);
        EXPECT_EQ(calls, 3);
        setErrorCallback(nullptr);
        EXPECT_EQ(ln(0), -infinity);
    });
}

TEST(VectorErrors, ACallbackSeesTheElement) {
    onFreshThread([] {
        setErrorCallback(writeFive);
        std::vector<double> x(21, 0.5);
        x[19] = -3;
        vectorKernels().vdLn->ep(21, x.data(), x.data());
        EXPECT_EQ(x[19], 5);
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(seen.code, VML_STATUS_ERRDOM);
        EXPECT_EQ(seen.index, 19);
        EXPECT_EQ(seen.input1, -3);
        EXPECT_TRUE(std::isnan(seen.result1));
        EXPECT_STREQ(seen.name, "vdLn");
        EXPECT_EQ(seen.nameLength, 4);

        vectorMathThread().runningBase = 1000;
        float single[3] = {1, 1, 0};
        vectorKernels().vsLn->la(3, single, single);
        EXPECT_EQ(single[2], 5.0F);
        EXPECT_EQ(seen.index, 1002);
        EXPECT_EQ(seen.result1, -infinity);
    });
}

TEST(VectorErrors, TheModeSaysWhatIsNoted) {
    onFreshThread([] {
        EXPECT_EQ(errnoAfter(VML_ERRMODE_NOERR, 0), 0);
        EXPECT_EQ(lastVmlStatus(), 0);
        EXPECT_EQ(errnoAfter(VML_ERRMODE_IGNORE, 0), 0);
        EXPECT_EQ(lastVmlStatus(), VML_STATUS_SING);
        EXPECT_EQ(errnoAfter(VML_ERRMODE_ERRNO, -1), EDOM);
        EXPECT_EQ(errnoAfter(VML_ERRMODE_ERRNO, 0), ERANGE);
        EXPECT_EQ(errnoAfter(VML_ERRMODE_EXCEPT, 0), 0);
        setErrorCallback(writeFive);
        setModeWord(VML_ERRMODE_ERRNO);  // the bit for callbacks is gone
        ln(0);
        EXPECT_EQ(calls, 0);
    });
}

// The arguments of a report: one or two of each, with their names.
TEST(VectorErrors, StandardErrorGetsTheCodeAndTheArguments) {
    onFreshThread([] {
        setModeWord(VML_ERRMODE_STDERR);
        const auto printed = [](std::int32_t code, double input2, double result2) {
            const double inputs[2] = {-1.5, input2};
            double results[2] = {8, result2};
            ::testing::internal::CaptureStderr();
            reportElement(code, 3, inputs, results, "vdPow");
            return ::testing::internal::GetCapturedStderr();
        };
        EXPECT_EQ(printed(1, -1.5, 8),
                  "Error (VML_STATUS_ERRDOM) in vdPow: argument is out of domain.\n"
                  "a(3)=-1.5\nr(3)=8\n");
        EXPECT_EQ(printed(2, 2, 9),
                  "Error (VML_STATUS_SING) in vdPow: argument caused singularity.\n"
                  "a(3)=-1.5\nb(3)=2\ny(3)=8\nz(3)=9\n");
        EXPECT_EQ(printed(3, -1.5, 8),
                  "Error (VML_STATUS_OVERFLOW) in vdPow: argument caused overflow.\n"
                  "a(3)=-1.5\nr(3)=8\n");
        EXPECT_EQ(printed(4, -1.5, 8),
                  "Error (VML_STATUS_UNDERFLOW) in vdPow: argument caused underflow.\n"
                  "a(3)=-1.5\nr(3)=8\n");
        EXPECT_EQ(printed(99, -1.5, 8), "Unknown error in vdPow.\na(3)=-1.5\nr(3)=8\n");
        EXPECT_EQ(printed(VML_STATUS_BADMEM, 2, 9),
                  "Error (VML_STATUS_BADMEM) in vdPow: NULL pointer is passed.\n");
        EXPECT_EQ(printed(VML_STATUS_BADSIZE, 2, 9),
                  "Error (VML_STATUS_BADSIZE) in vdPow: array size 3 is not positive.\n");
    });
}

// A null pointer calls back whatever the mode, and has no element to replace.
TEST(VectorErrors, NullPointersAlwaysCallBack) {
    onFreshThread([] {
        setErrorCallback(writeFive);
        setModeWord(VML_ERRMODE_ERRNO);
        const double inputs[2] = {1, 1};
        double results[2] = {2, 2};
        errno = 0;
        reportElement(VML_STATUS_BADMEM, 0, inputs, results, "vdLn");
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(errno, EACCES);
        EXPECT_EQ(results[0], 2);
        reportElement(VML_STATUS_BADSIZE, 0, inputs, results, "vdLn");
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(errno, EINVAL);
        reportElement(99, 0, inputs, results,
                      "a name that is longer than the context has room for it");
        EXPECT_EQ(errno, EFAULT);
    });
}

TEST(VectorErrors, LongNamesAreCut) {
    onFreshThread([] {
        setErrorCallback(writeFive);
        const double inputs[2] = {};
        double results[2] = {};
        reportElement(1, 0, inputs, results, std::string(60, 'n').c_str());
        EXPECT_EQ(seen.nameLength, 47);
        EXPECT_EQ(std::string(seen.name), std::string(47, 'n'));
    });
}

TEST(VectorErrors, ExceptRaisesTheFlagOfTheCode) {
    onFreshThread([] {
        setModeWord(VML_ERRMODE_EXCEPT);
        const int flags[] = {0, FE_INVALID, FE_DIVBYZERO, FE_OVERFLOW, FE_UNDERFLOW};
        for (const std::int32_t code : {1, 2, 3, 4}) {
            const double inputs[2] = {};
            double results[2] = {};
            feclearexcept(FE_ALL_EXCEPT);
            reportElement(code, 0, inputs, results, "vdLn");
            EXPECT_EQ(fetestexcept(FE_ALL_EXCEPT), flags[code]);
        }
        feclearexcept(FE_ALL_EXCEPT);
    });
}

TEST(VectorErrorsDeathTest, ExceptTrapsWhereTheModeUnmasks) {
    EXPECT_EXIT(
        {
            std::signal(SIGFPE, SIG_DFL);  // the sanitizers' handler would end it otherwise
            setModeWord(VML_ERRMODE_EXCEPT | VML_TRAP_OVERFLOW);
            ln(0);  // another exception
            const double x = 1000;
            double y;
            vectorKernels().vdExp->ha(1, &x, &y);
        },
        ::testing::KilledBySignal(SIGFPE), "");
}

// A kernel masks exceptions and rounds to nearest whatever its caller has set, and gives back what
// was there, with the flags of its run.
TEST(VectorErrors, ControlRegistersComeBack) {
    onFreshThread([] {
        setModeWord(VML_ERRMODE_IGNORE);
        const double expected = ln(0.3);
        feclearexcept(FE_ALL_EXCEPT);  // a thread inherits flags
        ASSERT_NE(feenableexcept(FE_DIVBYZERO | FE_INVALID), -1);
        fesetround(FE_DOWNWARD);
        const std::uint32_t sse = _mm_getcsr();
        std::uint16_t x87, x87After;
        asm volatile("fnstcw %0" : "=m"(x87));
        const double y = ln(0.3), bad = ln(-1);
        const std::uint32_t sseAfter = _mm_getcsr();
        asm volatile("fnstcw %0" : "=m"(x87After));
        fedisableexcept(FE_ALL_EXCEPT);
        fesetround(FE_TONEAREST);
        feclearexcept(FE_ALL_EXCEPT);
        EXPECT_EQ(y, expected);
        EXPECT_TRUE(std::isnan(bad));
        EXPECT_EQ(sseAfter & ~0x3FU, sse & ~0x3FU);
        EXPECT_NE(sseAfter & 1, 0U) << "the flag of an invalid operation";
        EXPECT_EQ(x87After, x87);
    });
}

TEST(VectorErrors, TheModeFlushesDenormals) {
    onFreshThread([] {
        const auto expOf = [](double x) {
            double y;
            vectorKernels().vdExp->ha(1, &x, &y);
            return y;
        };
        EXPECT_GT(expOf(-720), 0);
        setModeWord(DENORMAL_FLUSH);
        EXPECT_EQ(expOf(-720), 0);
        const ModeWord old = setModeWord(DENORMAL_KEEP);
        EXPECT_GT(expOf(-720), 0);
        setModeWord(old);
        EXPECT_EQ(expOf(-720), 0);
        EXPECT_EQ(_mm_getcsr() & 0x8040, 0U) << "the thread's own register";
    });
}

}  // namespace
}  // namespace korvan::testing
