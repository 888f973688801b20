// SPDX-License-Identifier: MIT

#include "common/snapshot.h"

bool Snapshot::Init(bool enable, unsigned period)
{
    enabled = enable;
    interval = period;
    elapsed = 0;
    forced = false;
    return true;
}

void Snapshot::UpdateInterval(int delta)
{
    if (!enabled) {
        return;
    }
    elapsed += static_cast<std::uint32_t>(delta);
    if (elapsed >= interval) {
        elapsed = 0;
    }
}

bool Snapshot::ShouldSnap() const
{
    if (!enabled) {
        return false;
    }
    return elapsed == 0 || forced;
}
