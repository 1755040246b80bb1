// Runs the tests on the copy that KORVAN_TEST_COPY names, and refuses to test another one.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "korvan/random.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (const char* wanted = std::getenv("KORVAN_TEST_COPY")) {
        const char* branch = std::getenv("QVX_OVERRIDE_BRANCH_ID");
        if (!branch || std::atoi(branch) != vslGetBranchNumber()) {
            std::printf("branch %d runs, not %s\n", vslGetBranchNumber(), branch ? branch : "?");
            return 1;
        }
        if (std::strcmp(wanted, vslGetCopyName()) != 0) {
            std::printf("this processor runs %s in place of %s\n", vslGetCopyName(), wanted);
            return 77;
        }
    }
    std::printf("copy %s\n", vslGetCopyName());
    return RUN_ALL_TESTS();
}
