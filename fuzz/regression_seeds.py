#!/usr/bin/env python3
"""Writes the regression inputs of fuzz_typed_access into its seed corpus.

Each input replays requests that once ran into undefined behaviour: type
selectors and element types far outside the values the enumeration names,
read as the C++ enumeration by the applet's typed exports, by its lookup-table
handlers and by the simulated host. `make fuzz` runs every seed first, under
clang's UndefinedBehaviorSanitizer, so a return of those reads is a finding.

The bytes follow how the target reads its input (FuzzedDataProvider): numbers
are taken from the end of the input, most significant byte first; byte blocks
from the front.

    fuzz/regression_seeds.py            (rewrites fuzz/corpus/typed_access/regress_*.bin)
"""
import os
import struct

INT_MIN = -(2 ** 31)
INT_MAX = 2 ** 31 - 1
ACCESS_TYPE_INDEX = 8        # FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS in the target's type list
FG_WIDTH = 100
FG_LUT_VALUE = 300001
HOST_BASE = 2000000
HOST_LUT_PORT0 = 1048590     # Device1_Process0_LookupTable_LookupTable_LUTcontent on the simulated host


class Input:
    def __init__(self):
        self.front = bytearray()
        self.back = []           # numbers' bytes in the order they are read

    def number(self, lo, hi, value, size):
        span = hi - lo
        result = value - lo
        assert 0 <= result <= span
        count = 0
        while count < size and (span >> (8 * count)) > 0:
            count += 1
        for i in reversed(range(count)):
            self.back.append((result >> (8 * i)) & 0xFF)

    def flag(self, on):
        self.number(0, 255, 1 if on else 0, 1)

    def block(self, data):
        self.front += data

    def bytes(self):
        return bytes(self.front) + bytes(reversed(self.back))


def request(inp, write, identity, selector=None, record=None, value=b""):
    inp.number(0, 9, 1, 4)                       # a typed request, not another export
    inp.flag(False)                              # the plain board
    inp.flag(write)
    inp.number(0, 4, 4, 4)                       # identity as any number
    inp.number(INT_MIN, INT_MAX, identity, 4)
    inp.flag(True)                               # port 0 or 1 ...
    inp.number(0, 1, 0, 4)                       # ... 0
    if record is None:
        inp.number(0, 7, 0, 4)                   # selector as any number
        inp.number(INT_MIN, INT_MAX, selector, 4)
        inp.number(0, 6, 3, 4)                   # value bytes
        inp.number(0, 16, len(value), 8)
        inp.block(value)
    else:
        vtype, index, count = record
        inp.number(0, 7, 1, 4)                   # a named selector ...
        inp.number(0, 13, ACCESS_TYPE_INDEX, 8)  # ... the access record
        inp.flag(False)                          # element type as any number
        inp.number(INT_MIN, INT_MAX, vtype, 4)
        inp.flag(True)
        inp.number(0, 4100, index, 4)
        inp.flag(True)
        inp.number(0, 4100, count, 4)
        inp.block(bytes(range(8 * count)))       # unknown element types take 8 bytes
        inp.number(0, 15, 1, 4)                  # elements present


def main():
    out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "typed_access")
    seeds = {}

    inp = Input()
    request(inp, True, FG_WIDTH, selector=0x40000000, value=struct.pack("<I", 2048))
    request(inp, False, FG_WIDTH, selector=INT_MIN)
    request(inp, True, HOST_BASE + HOST_LUT_PORT0 - 14, selector=INT_MAX, value=struct.pack("<I", 64))
    seeds["regress_selector.bin"] = inp.bytes()

    inp = Input()
    request(inp, True, FG_LUT_VALUE, record=(0x12345678, 10, 4))
    request(inp, False, FG_LUT_VALUE, record=(-0x7654321, 10, 4))
    seeds["regress_lut_element_type.bin"] = inp.bytes()

    inp = Input()
    request(inp, True, HOST_BASE + HOST_LUT_PORT0, record=(0x12345678, 10, 4))
    request(inp, False, HOST_BASE + HOST_LUT_PORT0, record=(INT_MIN, 0, 2))
    seeds["regress_host_element_type.bin"] = inp.bytes()

    for name, data in seeds.items():
        with open(os.path.join(out, name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
