// The fuzz targets' one assertion: a broken promise stops the run, so that
// libFuzzer keeps the input (assert would vanish from an NDEBUG build).
#ifndef SPRIG_FUZZ_FUZZ_CHECK_H
#define SPRIG_FUZZ_FUZZ_CHECK_H

#include <cstdlib>

inline void Require(bool condition)
{
    if (!condition)
        std::abort();
}

#endif
