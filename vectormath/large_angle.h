// Reduction of angles beyond the reach of the vector bodies.
#pragma once

namespace korvan {

// x = quarter pi/2 + head + rest, up to multiples of 2 pi: quarter from 0 to 3, |head| <= pi/4.
struct QuarteredAngle {
    int quarter;
    double head, rest;
};

// x at least 2^11, finite.  Relative error of head + rest below 2^-60.
QuarteredAngle quarterLargeAngle(double x);

}  // namespace korvan
