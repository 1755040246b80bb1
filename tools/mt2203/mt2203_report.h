// The lines that the verifier prints.
#pragma once

#include <cstdio>
#include <string>

namespace korvan::mt2203 {

class Report {
  public:
    // Prints what is wrong where `holds` is false.
    void expect(bool holds, const std::string& what) {
        if (holds) return;
        ++failed_;
        std::printf("FAILED: %s\n", what.c_str());
    }
    int failures() const { return failed_; }

  private:
    int failed_ = 0;
};

}  // namespace korvan::mt2203
