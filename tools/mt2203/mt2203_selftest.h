// Checks of the machinery of the search against other methods and known answers.
#pragma once

#include "tools/mt2203/mt2203_report.h"

namespace korvan::mt2203 {

void selfTest(Report& report);

}  // namespace korvan::mt2203
