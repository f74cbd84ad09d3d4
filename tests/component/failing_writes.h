// Natively the registry can fail any write on demand: a step is run with each of its writes
// failed in turn, and every failure must leave the registry as it was.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/platform.h"

// Fails write 0, 1, 2, ... of `step` with `error` until the step succeeds; after each failure
// `snapshot()` must be what it was before. Gives the codes of the failures in turn.
template <typename Step, typename Snapshot>
std::vector<HRESULT> FailEachWrite(Step step, LONG error, Snapshot snapshot) {
    const std::string before = snapshot();
    std::vector<HRESULT> failures;
    for (unsigned long writes = 0; writes < 200; ++writes) {
        SCOPED_TRACE("failing write " + std::to_string(writes));
        TarvolinFailRegistryWrite(writes, error);
        const HRESULT hr = step();
        TarvolinFailRegistryWrite(0, ERROR_SUCCESS);
        if (hr == S_OK) return failures;
        failures.push_back(hr);
        EXPECT_EQ(snapshot(), before);
        if (::testing::Test::HasFailure()) return failures;
    }
    ADD_FAILURE() << "the step never succeeded";
    return failures;
}
