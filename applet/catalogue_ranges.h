// The registered ranges of the catalogue, derived from catalogue.def: for each
// numeric parameter a type catalogue::NAME with its `from`, `to` and `steps`
// (and `size` for fields). Handlers whose accepted range is the registered one
// check against these, so that the number is written once, in the table.
#ifndef CATALOGUE_RANGES_H
#define CATALOGUE_RANGES_H

#include <cstdint>

namespace catalogue {

#define CAT_UINT(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT) \
    struct NAME {                                                               \
        static constexpr uint32_t from = FROM, to = TO, steps = STEPS;          \
    };
#define CAT_UINT64(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT) \
    struct NAME {                                                                 \
        static constexpr uint64_t from = FROM, to = TO, steps = STEPS;            \
    };
#define CAT_DOUBLE(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT) \
    struct NAME {                                                                 \
        static constexpr double from = FROM, to = TO, steps = STEPS;              \
    };
#define CAT_UFIELD(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, SIZE, FROM, TO, STEPS, UNIT) \
    struct NAME {                                                                       \
        static constexpr uint32_t size = SIZE, from = FROM, to = TO, steps = STEPS;     \
    };
#define CAT_DFIELD(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, SIZE, FROM, TO, STEPS, UNIT) \
    struct NAME {                                                                       \
        static constexpr uint32_t size = SIZE;                                          \
        static constexpr double from = FROM, to = TO, steps = STEPS;                    \
    };
#include "catalogue.def"

// Whether `v` lies in the registered range of parameter R, bounds included
// (NaN never does): catalogue::inRange<catalogue::FG_LINEPERIODE>(v).
template <class R, class T>
constexpr bool inRange(T v) {
    return v >= R::from && v <= R::to;
}

}  // namespace catalogue

#endif
