#!/usr/bin/env python3
"""Makes the polynomial coefficients of the vector mathematics.

    python3 coefficients.py                    # all of them
    python3 coefficients.py erf_inv            # those whose name begins so
    python3 coefficients.py --check FILE...    # whether the files have them all

Each row of `approximations` is a function on an interval, the powers of the polynomial and the
weight of its error: f(x) ~ sum of c_k x^k such that max |weight (f - sum)| is least.  The exchange
algorithm of Remez runs on a Chebyshev grid in 60 digits (mpmath); the coefficients are then rounded
to the kernel's type.  Printed are the name, the error of the rounded polynomial as a power of two,
and the coefficients from the lowest power on.
"""
import re
import struct
import sys

from mpmath import mp, mpf, cos, erf, erfinv, exp, expm1, log, pi, sin, sqrt

mp.dps = 60


def chebyshev_grid(a, b, count):
    return [(a + b) / 2 - (b - a) / 2 * mp.cos(pi * k / (count - 1)) for k in range(count)]


class Fit:
    """Weighted minimax fit of values on a grid by sum c_k x^powers[k]."""

    def __init__(self, f, a, b, powers, weight, grid=0):
        self.x = chebyshev_grid(mpf(a), mpf(b), grid or 24 * len(powers) + 64)
        # A weight of zero would leave the place out; the bound only matters within the grid's step.
        self.weight = [max(abs(weight(x)), mpf('1e-9')) for x in self.x]
        self.f = [f(x) for x in self.x]
        self.powers = powers
        self.coefficients = {}
        self.rows = [[x**p for p in powers] for x in self.x]

    def residuals(self, target, free, values):
        return [w * (t - mp.fsum(row[k] * v for k, v in zip(free, values)))
                for w, t, row in zip(self.weight, target, self.rows)]

    def exchange(self, free):
        """Fits the coefficients with indices `free`; the others are fixed."""
        target = [f - mp.fsum(row[k] * c for k, c in self.coefficients.items())
                  for f, row in zip(self.f, self.rows)]
        count = len(free) + 1
        last = len(self.x) - 1
        reference = [round((1 - mp.cos(pi * i / (count - 1))) / 2 * last) if count > 1 else 0
                     for i in range(count)]
        for _ in range(100):
            system = mp.matrix(count, count)
            right = mp.matrix(count, 1)
            for i, at in enumerate(reference):
                for j, k in enumerate(free):
                    system[i, j] = self.rows[at][k]
                system[i, count - 1] = (-1)**i / self.weight[at]
                right[i] = target[at]
            solution = mp.lu_solve(system, right)
            values = [solution[j] for j in range(len(free))]
            level = abs(solution[count - 1])
            r = self.residuals(target, free, values)
            worst = max(abs(v) for v in r)
            if worst <= level * mpf('1.0005'):
                break
            reference = self.extrema(r, count)
        return values, worst

    @staticmethod
    def extrema(r, count):
        """`count` places of alternating sign: the largest of each run of one sign, then the ends
        with the smaller error fall away."""
        runs = []
        for at, v in enumerate(r):
            if runs and (v > 0) == (r[runs[-1]] > 0):
                if abs(v) > abs(r[runs[-1]]):
                    runs[-1] = at
            else:
                runs.append(at)
        while len(runs) > count:
            if len(runs) == count + 1:
                runs.pop(0 if abs(r[runs[0]]) < abs(r[runs[-1]]) else -1)
                continue
            least = min(range(1, len(runs)), key=lambda i: abs(r[runs[i]]) + abs(r[runs[i - 1]]))
            del runs[least - 1:least + 1]
        if len(runs) < count:
            raise ArithmeticError('the error alternates too seldom: fewer digits or a finer grid')
        return runs

    def rounded(self, rounding):
        """Rounds all at once, and one by one with a fit of the rest after each, which isn't always
        better: takes the better.  Returns the errors before and after."""
        count = len(self.powers)
        values, exact = self.exchange(list(range(count)))
        together = {k: rounding[k](v) for k, v in enumerate(values)}
        for k in range(count):
            self.coefficients[k] = rounding[k](values[0])
            values = values[1:]
            if values and (rounding[k] is not to_double or count <= 10):
                values, _ = self.exchange(list(range(k + 1, count)))
        final, self.coefficients = min(
            ((self.error_of(c), c) for c in (together, self.coefficients)), key=lambda p: p[0])
        return exact, final

    def error_of(self, coefficients):
        return max(abs(v) for v in self.residuals(
            [f - mp.fsum(row[k] * c for k, c in coefficients.items())
             for f, row in zip(self.f, self.rows)], [], []))


class TangentFit:
    """tan r = r (1 + z A(z)) / (1 + z B(z)), z = r^2, with `degree` coefficients in A and in B.

    The relative error is (1 + z A - t (1 + z B)) / (t (1 + z B)) with t = tan r / r: linear in the
    coefficients but for the divisor, which is taken from the fit before (Loeb's iteration).
    """

    def __init__(self, reach, degree):
        self.z = chebyshev_grid(mpf(0), reach, 24 * 2 * degree + 64)
        self.t = [mp.tan(sqrt(z)) / sqrt(z) if z else mpf(1) for z in self.z]
        self.degree = degree
        self.coefficients = {}

    def sides(self, z, c):
        n = self.degree
        return (1 + sum(c[k] * z**(k + 1) for k in range(n)),
                1 + sum(c[n + k] * z**(k + 1) for k in range(n)))

    def error_of(self, c):
        quotients = (self.sides(z, c) for z in self.z)
        return max(abs(a / b / t - 1) for (a, b), t in zip(quotients, self.t))

    def rounded(self, rounding):
        n = self.degree
        fit = Fit.__new__(Fit)
        fit.x, fit.coefficients, fit.powers = self.z, {}, list(range(2 * n))
        fit.f = [t - 1 for t in self.t]
        fit.rows = [[z**k for k in range(1, n + 1)] + [-t * z**k for k in range(1, n + 1)]
                    for z, t in zip(self.z, self.t)]
        divisors = self.t
        for _ in range(12):
            fit.weight = [1 / d if z else mpf('1e-9') for z, d in zip(self.z, divisors)]
            values, _ = fit.exchange(list(range(2 * n)))
            divisors = [t * self.sides(z, values)[1] for z, t in zip(self.z, self.t)]
        self.coefficients = {k: rounding[k](v) for k, v in enumerate(values)}
        return self.error_of(values), self.error_of(self.coefficients)


class ErfInvQuotientFit:
    """erfinv(x)/x = sqrt(pi)/2 + (1 - u) A(u) / B(u), u = 1 - x^2 from `least` to 1, with 7
    coefficients in A and in B, whose highest is 1; by Loeb's iteration, too.

    The kernel's last digits come from a search that starts here, erf_inv_count_rounding.cpp.
    """
    is_start_of_search = True

    def __init__(self, least):
        self.u = chebyshev_grid(least, mpf(1), 24 * 13 + 64)[:-1]
        self.whole = [erfinv_over_x(-log(u)) for u in self.u]
        self.t = [(w - sqrt(pi) / 2) / (1 - u) for w, u in zip(self.whole, self.u)]

    def error_of(self, c):
        return max(abs((mp.fsum(c[k] * u**k for k in range(7)) /
                        mp.fsum(([c[7 + k] for k in range(7)] + [1])[k] * u**k for k in range(8))
                        - t) * (1 - u) / w) for u, t, w in zip(self.u, self.t, self.whole))

    def rounded(self, rounding):
        fit = Fit.__new__(Fit)
        fit.x, fit.f, fit.coefficients, fit.powers = self.u, self.t, {}, list(range(14))
        fit.rows = [[u**k for k in range(7)] + [-t * u**k for k in range(1, 8)]
                    for u, t in zip(self.u, self.t)]
        divisors = [mpf(1)] * len(self.u)
        for _ in range(16):
            fit.weight = [(1 - u) / w / d for u, w, d in zip(self.u, self.whole, divisors)]
            values, _ = fit.exchange(list(range(14)))
            divisors = [1 + mp.fsum(values[6 + k] * u**k for k in range(1, 8)) for u in self.u]
        highest = values[13]
        values = [v / highest for v in values[:7] + [mpf(1)] + values[7:13]]
        self.coefficients = {k: rounding[k](v) for k, v in enumerate(values)}
        return self.error_of(values), self.error_of(self.coefficients)


def to_double(v):
    return mpf(float(v))


def to_single(v):
    return mpf(struct.unpack('f', struct.pack('f', float(v)))[0])


def written(v, single):
    if not single:
        return repr(float(v))
    for digits in range(6, 12):
        text = '%.*g' % (digits, float(v))
        if to_single(mpf(text)) == v:
            return text + ('f' if '.' in text or 'e' in text else '.0f')
    raise ValueError(v)


# ---- The functions ----

def cached(f):
    seen = {}

    def call(x):
        if x not in seen:
            seen[x] = f(x)
        return seen[x]
    return call


def log2(x):
    return log(x) / log(2)


@cached
def erfinv_over_x(w):
    """erfinv(x)/x at 1 - x^2 = e^-w."""
    if w < mpf('1e-25'):
        return sqrt(pi) / 2
    x = sqrt(-expm1(-w))
    if w < 60:
        # Newton's method on erfc, from the asymptotic form: exact to the working precision.
        z = erfinv(x) if w < 20 else sqrt(w - log(sqrt(pi * w)))
        c = (exp(-w)) / (1 + x)
        for _ in range(7):
            z += (mp.erfc(z) - c) * sqrt(pi) / 2 * exp(z * z)
        return z / x
    raise ValueError(w)


def range_of_powers(first, last, step=1):
    return list(range(first, last + 1, step))


half = mpf(1) / 2
one = lambda x: mpf(1)
root_half, root_two = sqrt(half), sqrt(mpf(2))
ln2 = log(mpf(2))

approximations = {}


def add(name, f, a, b, powers, weight, single=False):
    approximations[name] = (lambda: Fit(f, a, b, powers, weight),
                            ['x^%d' % p for p in powers], single)


def log2_over(f):
    return log2(1 + f) / f if f else 1 / ln2


def erfinv_log2(L):
    return erfinv_over_x(-L * ln2)

# ln(1 + f) = 2 s + s z q(z), s = f / (2 + f), z = s^2.
def log_q(z):
    if z == 0:
        return mpf(2) / 3
    s = sqrt(z)
    return (log((1 + s) / (1 - s)) - 2 * s) / (s * z)


largest_z = ((root_two - 1) / (root_two + 1))**2

# ---- Inverse error function ----
# In L = log2(1 - x^2) for the fast rows; in w = -ln(1 - x^2) for the accurate ones.
add('erf_inv_ep_log2', log2_over, root_half - 1, root_two - 1, range_of_powers(0, 8), lambda f: f)
add('erf_inv_ep_central', erfinv_log2, -9, 0, range_of_powers(0, 11),
    lambda L: 1 / erfinv_log2(L))
add('erf_inv_ep_tail', lambda t: erfinv_log2(-(t + 5)**2), -2, sqrt(mpf(52.01)) - 5,
    range_of_powers(0, 13), lambda t: 1 / erfinv_log2(-(t + 5)**2))
# The accurate rows add these to a line: 227/256 + 31/128 w, and s - 11/64 with s = sqrt(w).
add('erf_inv_central', lambda t: erfinv_over_x(t + mpf(3.125)) - mpf(227) / 256
    - mpf(31) / 128 * (t + mpf(3.125)), -3.125, 9 * ln2 - 3.125, range_of_powers(0, 25),
    lambda t: 1 / erfinv_over_x(t + mpf(3.125)))
for name, center, least, largest in (('erf_inv_tail', 3.25, sqrt(9 * ln2), mpf(4)),
                                     ('erf_inv_far_tail', 5, mpf(4), sqrt(52.01 * ln2))):
    add(name, lambda t, c=mpf(center): erfinv_over_x((t + c)**2) - (t + c) + mpf(11) / 64,
        least - center, largest - center, range_of_powers(0, 21),
        lambda t, c=mpf(center): 1 / (t + c))
add('erf_inv_single_log2', log2_over, root_half - 1, root_two - 1, range_of_powers(0, 7),
    lambda f: f, single=True)
add('erf_inv_single_central', erfinv_log2, -8, 0, range_of_powers(0, 9),
    lambda L: 1 / erfinv_log2(L), single=True)
add('erf_inv_single_tail', lambda t: erfinv_log2(-(t + mpf(3.75))**2), sqrt(mpf(7.99)) - 3.75,
    sqrt(mpf(23.01)) - 3.75, range_of_powers(0, 8),
    lambda t: 1 / erfinv_log2(-(t + mpf(3.75))**2), single=True)
approximations['erf_inv_count'] = (
    lambda: ErfInvQuotientFit(mpf(1) / 256),
    ['A, u^%d' % k for k in range(7)] + ['B, u^%d' % k for k in range(7)], True)
add('log_q', log_q, 0, largest_z, range_of_powers(0, 6), lambda z: z * sqrt(z))


# ---- Sine and cosine: sin r = r + r z S(z), cos r = 1 - z/2 + z^2 C(z) or 1 + z C(z), z = r^2 ----
def sine_rest(z):
    if z < mpf('1e-30'):
        return -mpf(1) / 6 + z / 120
    r = sqrt(z)
    return (sin(r) - r) / (r * z)


def cosine_rest(z, order):
    if z < mpf('1e-8'):
        first = {1: -half, 2: mpf(1) / 24}[order]
        return first + sum((-z)**k * first * mp.factorial(2 * order) / mp.factorial(2 * (order + k))
                           for k in range(1, 6))
    return (cos(sqrt(z)) - (1 if order == 1 else 1 - z / 2)) / z**order


eighth_turn = (pi / 4 * mpf(1.0001))**2
quarter_turn = (pi / 2 * mpf(1.0001))**2
sine_weight = lambda z: z and z * sqrt(z) / sin(sqrt(z))
for name, reach, degrees in (('sine_quadrant', eighth_turn, (('ep', 2), ('single', 2), ('', 5))),
                             ('sine_half', quarter_turn, (('ep', 4), ('single', 3), ('la', 7)))):
    for row, degree in degrees:
        add(name + '_' * (row != '') + row, sine_rest, 0, reach, range_of_powers(0, degree),
            sine_weight, single=row == 'single')
add('cosine_quadrant_ep', lambda z: cosine_rest(z, 1), 0, eighth_turn, range_of_powers(0, 3),
    lambda z: z / cos(sqrt(z)))
add('cosine_quadrant_single', lambda z: cosine_rest(z, 2), 0, eighth_turn, range_of_powers(0, 2),
    lambda z: z * z / cos(sqrt(z)), single=True)
add('cosine_quadrant', lambda z: cosine_rest(z, 2), 0, eighth_turn, range_of_powers(0, 5),
    lambda z: z * z / cos(sqrt(z)))
for row, degree in (('la', 3), ('ep', 2), ('single', 2)):
    approximations['tangent_' + row] = (lambda n=degree: TangentFit(eighth_turn, n),
                                        ['%s z^%d' % (side, k) for side in ('above', 'below')
                                         for k in range(1, degree + 1)], row == 'single')


# ---- Powers ----
# The accurate rows: ln(1 + r) = r - r^2/2 + r^3 P(r) beside a table (pow_table.py), then
# e^r = 1 + r + r^2 P(r).
def ln_rest(r):
    if abs(r) < mpf('1e-12'):
        return sum((-r)**k / (k + 3) for k in range(6))
    return (log(1 + r) - r + r * r / 2) / r**3


def exp_rest(r):
    if abs(r) < mpf('1e-12'):
        return sum(r**k / mp.factorial(k + 2) for k in range(6))
    return (expm1(r) - r) / r**2


def log2_over_s(z):
    if z == 0:
        return 2 / ln2
    s = sqrt(z)
    return log2((1 + s) / (1 - s)) / s


add('pow_ln', ln_rest, -mpf(2)**-7, mpf(2)**-7, range_of_powers(0, 6), lambda r: r * r)
add('pow_exp', exp_rest, -ln2 / 2 * mpf(1.001), ln2 / 2 * mpf(1.001), range_of_powers(0, 9),
    lambda r: r * r / exp(r))
# The fast row: log2(m) = s P(s^2) with s = (m - 1) / (m + 1), then 2^f.
add('pow_ep_log2', log2_over_s, 0, largest_z, range_of_powers(0, 5), one)
add('pow_ep_exp2', lambda f: exp(f * ln2), -half * mpf(1.001), half * mpf(1.001),
    range_of_powers(0, 6), lambda f: exp(-f * ln2))


# ---- Error function, single: erf x = x + x P(x^2) near 0, 1 - 2^-Q(x) beyond ----
def erf_rest(z):
    if z < mpf('1e-20'):
        return 2 / sqrt(pi) * (1 - z / 3) - 1
    return erf(sqrt(z)) / sqrt(z) - 1


for row, single, degrees in (('single', True, (6, 5, 5)), ('wide', False, (7, 6, 5))):
    add('erf_%s_central' % row, erf_rest, 0, mpf(1.25)**2, range_of_powers(0, degrees[0]),
        lambda z: 1 / (erf_rest(z) + 1), single=single)
    add('erf_%s_tail' % row, lambda x: -log2(mp.erfc(x)), mpf(1.25), mpf(3.9375),
        range_of_powers(0, degrees[1]), lambda x: mp.erfc(x) * ln2, single=single)
    add('erf_%s_exp2' % row, lambda f: exp(f * ln2), -half * mpf(1.001), half * mpf(1.001),
        range_of_powers(0, degrees[2]), lambda f: exp(-f * ln2), single=single)


def missing(text, fit, single):
    """Those coefficients that the text doesn't have as a whole number."""
    return [c for c in (written(v, single) for v in fit.coefficients.values())
            if not re.search(r'(?<![\w.])%s(?![\w.])' % re.escape(c), text)]


def main():
    arguments = sys.argv[1:]
    text = None
    if arguments[:1] == ['--check']:
        text = ''.join(open(name).read() for name in arguments[1:])
        arguments = []
    failed = False
    for name, (make, terms, single) in approximations.items():
        if not any(name.startswith(w) for w in arguments or ['']):
            continue
        fit = make()
        exact, final = fit.rounded([to_single if single else to_double] * len(terms))
        if text is not None:
            if hasattr(fit, 'is_start_of_search'):
                continue
            lacking = missing(text, fit, single)
            failed = failed or bool(lacking)
            if lacking:
                print('%s: no %s' % (name, ', '.join(lacking)))
            continue
        print('%s: error 2^%.2f (2^%.2f before rounding)'
              % (name, float(log2(final)), float(log2(exact))))
        for k, term in enumerate(terms):
            print('    %s,  // %s' % (written(fit.coefficients[k], single), term))
        sys.stdout.flush()
    sys.exit(failed)


if __name__ == '__main__':
    main()
