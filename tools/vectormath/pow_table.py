#!/usr/bin/env python3
"""Makes vectormath/pow_table.cpp:

    python3 tools/vectormath/pow_table.py > vectormath/pow_table.cpp

Row k belongs to the mantissas m whose bits, as an integer, are from first + k 2^45 below
first + (k + 1) 2^45: 128 intervals from about sqrt(1/2) to sqrt(2).  `inverse` has so few bits
that m inverse - 1 is exact in 53 bits; it is 1 on both sides of 1, where the logarithm must not
lose bits.  -ln(inverse) = lnHigh + lnLow, lnHigh a multiple of 2^-42.
"""
import struct

from mpmath import mp, mpf, log, nint, floor

mp.prec = 200
FIRST = 0x3FE6A00000000000


def double_of(bits):
    return mpf(struct.unpack('d', struct.pack('Q', bits))[0])


def main():
    print('// Made by tools/vectormath/pow_table.py, which tells what it is.')
    print('#include "vectormath/pow_table.h"\n\nnamespace korvan {\n\n// clang-format off\n')
    print('const PowTableRow powTable[128] = {')
    largest = mpf(0)
    for k in range(128):
        low, high = double_of(FIRST + (k << 45)), double_of(FIRST + ((k + 1) << 45))
        unit = mpf(2)**(-8 if low >= 1 else -7)
        inverse = mpf(1) if low == 1 or high == 1 else nint(2 / (low + high) / unit) * unit
        reach = max(abs(low * inverse - 1), abs(high * inverse - 1))
        largest = max(largest, reach)
        logarithm = -log(inverse)
        head = nint(logarithm * mpf(2)**42) / mpf(2)**42
        # What the sums of the kernel rely on.
        assert reach <= mpf(2)**-7 and (inverse == 1 or abs(head) > reach)
        print('    {%s, %s, %s, 0},' % (float(inverse).hex(), float(head).hex(),
                                     float(logarithm - head).hex()))
    print('};\n\n// clang-format on\n\n}  // namespace korvan')


main()
