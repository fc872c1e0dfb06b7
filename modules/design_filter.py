#!/usr/bin/env python3
"""Designs the low-pass filter of the 48 to 16 kHz converter and writes it as a C++ table.

usage: modules/design_filter.py > modules/zel_src_filter_data.cpp
needs: Debian's python3-scipy (development time only)

Parks-McClellan (Remez exchange) equiripple design: 237 taps at 48000 Hz, pass band 0 to 7200 Hz at
gain 0.95, stop band 8000 to 24000 Hz, nominal ripples of 0.1 dB and 100 dB.
"""

import numpy
from scipy import signal

TAPS = 237
RATE_HZ = 48000
PASS_HZ = 7200
STOP_HZ = 8000
PASS_GAIN = 0.95
PASS_RIPPLE_DB = 0.1
STOP_ATTENUATION_DB = 100
# The usual density of 16 ends in slightly different taps.
GRID_DENSITY = 20


def design():
    pass_ratio = 10 ** (PASS_RIPPLE_DB / 20)
    pass_deviation = (pass_ratio - 1) / (pass_ratio + 1)
    stop_deviation = 10 ** (-STOP_ATTENUATION_DB / 20)
    taps = signal.remez(
        TAPS,
        [0, PASS_HZ, STOP_HZ, RATE_HZ / 2],
        [PASS_GAIN, 0],
        weight=[1, pass_deviation / stop_deviation],
        fs=RATE_HZ,
        grid_density=GRID_DENSITY,
    )
    return taps.astype(numpy.float32)


def main():
    taps = design()
    print("// Made by modules/design_filter.py, with the design's figures; do not edit.")
    print()
    print('#include "zel_src_48k.h"')
    print()
    print("#include <iterator>")
    print()
    print("// clang-format off")
    print("const std::int32_t res_order = std::size(res_coeff);")
    print(f"const float res_coeff[{len(taps)}] = {{")
    for tap in taps:
        print(f"    {float(tap).hex()}F,  // {float(tap)!r}")
    print("};")
    print("// clang-format on")


if __name__ == "__main__":
    main()
