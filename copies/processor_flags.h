// Included before the first line of every file of the library (cmake/Copies.cmake).
//
// A copy must hold no instruction that its processors lack, and every copy must round as its row
// says, whatever flags the builder adds.  Our own -march=x86-64 undoes an -march of the builder's,
// but not an -mfma: compiling stops where the compiler may use anything else than the features of
// the file's row in copies.def, which are none in the files that are compiled once.
#pragma once

namespace korvan::processor_flags {

consteval bool areEqual(const char* x, const char* y) {
    for (; *x == *y; ++x, ++y) {
        if (*x == 0) return true;
    }
    return false;
}

// Whether a list of names between commas holds `name`.
consteval bool holds(const char* list, const char* name) {
    while (*list) {
        const char* p = name;
        while (*p && *list == *p) ++list, ++p;
        if (*p == 0 && (*list == 0 || *list == ',')) return true;
        while (*list && *list != ',') ++list;
        if (*list) ++list;
    }
    return false;
}

consteval bool isAsked([[maybe_unused]] const char* feature) {
#ifdef KORVAN_COPY_NAME
#    define KORVAN_COPY_ROW(name, lowest, highest, features, flags) \
        if (areEqual(#name, KORVAN_COPY_NAME)) return holds(features, feature);
#    include "copies/copies.def"
#    undef KORVAN_COPY_ROW
#endif
    return false;
}

// A macro of the compiler's is 1 where its feature is on, otherwise it stays a name.
#define KORVAN_TEXT(x) #x
#define KORVAN_FEATURE_FLAG(feature, macro)                                                       \
    static_assert(isAsked(feature) == (KORVAN_TEXT(macro)[0] == '1'),                             \
                  "compiled for other instructions than copies/copies.def says; leave processor " \
                  "features to it, not to CXXFLAGS: " feature)

// By their names in frame/features.def.
KORVAN_FEATURE_FLAG("sse3", __SSE3__);
KORVAN_FEATURE_FLAG("ssse3", __SSSE3__);
KORVAN_FEATURE_FLAG("sse4.1", __SSE4_1__);
KORVAN_FEATURE_FLAG("sse4", __SSE4_2__);
KORVAN_FEATURE_FLAG("movbe", __MOVBE__);
KORVAN_FEATURE_FLAG("popcnt", __POPCNT__);
KORVAN_FEATURE_FLAG("pclmul", __PCLMUL__);
KORVAN_FEATURE_FLAG("aes", __AES__);
KORVAN_FEATURE_FLAG("f16c", __F16C__);
KORVAN_FEATURE_FLAG("avx", __AVX__);
KORVAN_FEATURE_FLAG("rdrnd", __RDRND__);
KORVAN_FEATURE_FLAG("fma", __FMA__);
KORVAN_FEATURE_FLAG("bmi", __BMI__);
KORVAN_FEATURE_FLAG("bmi2", __BMI2__);
KORVAN_FEATURE_FLAG("lzcnt", __LZCNT__);
KORVAN_FEATURE_FLAG("avx2", __AVX2__);
KORVAN_FEATURE_FLAG("adx", __ADX__);
KORVAN_FEATURE_FLAG("rdseed", __RDSEED__);
KORVAN_FEATURE_FLAG("sha", __SHA__);
KORVAN_FEATURE_FLAG("gfni", __GFNI__);
KORVAN_FEATURE_FLAG("vaes", __VAES__);
KORVAN_FEATURE_FLAG("vpclmulqdq", __VPCLMULQDQ__);
KORVAN_FEATURE_FLAG("avxvnni", __AVXVNNI__);
KORVAN_FEATURE_FLAG("avx512f", __AVX512F__);
KORVAN_FEATURE_FLAG("avx512dq", __AVX512DQ__);
KORVAN_FEATURE_FLAG("avx512bw", __AVX512BW__);
KORVAN_FEATURE_FLAG("avx512vl", __AVX512VL__);
KORVAN_FEATURE_FLAG("avx512cd", __AVX512CD__);
KORVAN_FEATURE_FLAG("avx512er", __AVX512ER__);
KORVAN_FEATURE_FLAG("avx512pf", __AVX512PF__);
KORVAN_FEATURE_FLAG("avx512ifma", __AVX512IFMA__);
KORVAN_FEATURE_FLAG("avx512vbmi", __AVX512VBMI__);
KORVAN_FEATURE_FLAG("avx512vbmi2", __AVX512VBMI2__);
KORVAN_FEATURE_FLAG("avx512vnni", __AVX512VNNI__);
KORVAN_FEATURE_FLAG("avx512bitalg", __AVX512BITALG__);
KORVAN_FEATURE_FLAG("avx512vpopcntdq", __AVX512VPOPCNTDQ__);
KORVAN_FEATURE_FLAG("avx512vp2intersect", __AVX512VP2INTERSECT__);
KORVAN_FEATURE_FLAG("avx5124fmaps", __AVX5124FMAPS__);
KORVAN_FEATURE_FLAG("avx5124vnniw", __AVX5124VNNIW__);
KORVAN_FEATURE_FLAG("avx512bf16", __AVX512BF16__);
KORVAN_FEATURE_FLAG("avx512fp16", __AVX512FP16__);
// Without a name there: no copy has them.
KORVAN_FEATURE_FLAG("sse4a", __SSE4A__);
KORVAN_FEATURE_FLAG("fma4", __FMA4__);
KORVAN_FEATURE_FLAG("xop", __XOP__);
KORVAN_FEATURE_FLAG("tbm", __TBM__);
KORVAN_FEATURE_FLAG("prfchw", __PRFCHW__);

#undef KORVAN_FEATURE_FLAG
#undef KORVAN_TEXT

}  // namespace korvan::processor_flags
