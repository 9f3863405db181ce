// What a test needs from the machine (the 3MF files beside the checkout,
// Python, unzip): without it a test skips where it is run by hand, and fails
// in CI, where a missing oracle would otherwise pass unnoticed.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

inline bool InContinuousIntegration()
{
    char const* const ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

// Ends the current function: a visible skip, or a failure in CI. `what`
// names what is missing.
#define SKIP_OR_FAIL_MISSING(what)                                                                           \
    do                                                                                                       \
    {                                                                                                        \
        if (InContinuousIntegration())                                                                       \
        {                                                                                                    \
            FAIL() << "missing in CI: " << what;                                                             \
        }                                                                                                    \
        GTEST_SKIP() << "missing: " << what;                                                                 \
    } while (false)
