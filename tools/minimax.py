#!/usr/bin/env python3
"""minimax.py F WEIGHT LOW HIGH DEGREE [single|double]

Prints the coefficients, constant first, of the polynomial P of the given degree with the smallest
largest |WEIGHT (P - F)| on [LOW, HIGH]; then that error as a power of 2, before and after the
coefficients are rounded.  F and WEIGHT are expressions in r, the bounds in nothing, of mpmath's
functions.  The coefficients beside kernels have their command with them:

    tools/minimax.py '(log(1+r)-r)/r**2' 'r**2/log(1+r)' -1/32 1/16 3

Remez's exchange on a grid of Chebyshev points; needs python3-mpmath.
"""
import struct
import sys

import mpmath
from mpmath import mp, mpf

mp.prec = 400


def function_of(text):
    code = compile(text, "expression", "eval")
    return lambda r: eval(code, {**vars(mpmath), "r": r})


def evaluate(coefficients, r):
    return mpmath.polyval(coefficients[::-1], r)


def reference_points(errors, count):
    """The places of `count` alternating extrema of the errors on the grid."""
    runs = [0]  # the largest of each run of one sign
    for i in range(1, len(errors)):
        if (errors[i] > 0) != (errors[runs[-1]] > 0):
            runs.append(i)
        elif abs(errors[i]) > abs(errors[runs[-1]]):
            runs[-1] = i
    while len(runs) > count:
        runs.pop(0 if abs(errors[runs[0]]) < abs(errors[runs[-1]]) else -1)
    return runs


def remez(f, weight, low, high, degree):
    size = 60 * (degree + 2)
    middle, half = (low + high) / 2, (high - low) / 2
    grid = [middle - half * mpmath.cos(mpmath.pi * (i + mpf(1) / 2) / size) for i in range(size)]
    grid = [low, *grid, high]
    values, weights = [f(r) for r in grid], [weight(r) for r in grid]
    count = degree + 2
    chosen = [round(i * (len(grid) - 1) / (count - 1)) for i in range(count)]
    for _ in range(60):
        system, right = mp.matrix(count), mp.matrix(count, 1)
        for row, i in enumerate(chosen):
            for k in range(degree + 1):
                system[row, k] = grid[i] ** k
            system[row, degree + 1] = (-1) ** row / weights[i]
            right[row] = values[i]
        solution = mp.lu_solve(system, right)
        coefficients = list(solution[: degree + 1])
        errors = [w * (evaluate(coefficients, r) - v) for r, v, w in zip(grid, values, weights)]
        worst = max(map(abs, errors))
        if worst <= abs(solution[degree + 1]) * (1 + mpf(10) ** -6):
            break
        new = reference_points(errors, count)
        if len(new) < count or new == chosen:
            break
        chosen = new
    return coefficients, worst, lambda c: max(
        abs(w * (evaluate(c, r) - v)) for r, v, w in zip(grid, values, weights)
    )


def main():
    if len(sys.argv) not in (6, 7):
        sys.exit(__doc__)
    f, weight = function_of(sys.argv[1]), function_of(sys.argv[2])
    low, high = (mpmath.mpf(eval(text.replace("/", "/mpf(1)/"), {**vars(mpmath)}))
                 for text in sys.argv[3:5])
    code = {"single": "f", "double": "d"}[sys.argv[6] if len(sys.argv) == 7 else "double"]
    # 0 is where many an F has the form 0/0.
    shift = mpf(2) ** -150
    coefficients, worst, error_of = remez(
        lambda r: f(r + shift), lambda r: abs(weight(r + shift)), low, high, int(sys.argv[5])
    )
    rounded = [struct.unpack(code, struct.pack(code, float(c)))[0] for c in coefficients]
    for c in rounded:
        print(mpmath.nstr(mpf(c), 9) if code == "f" else repr(c))
    after = error_of([mpf(c) for c in rounded])
    print(f"error 2^{mpmath.nstr(mpmath.log(worst, 2), 5)}, "
          f"with rounded coefficients 2^{mpmath.nstr(mpmath.log(after, 2), 5)}")


main()
