// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "checksum.h"

#include <new>

#include <xxhash.h>

void Checksum::Free::operator()(void* state) const
{
    XXH3_freeState(static_cast<XXH3_state_t*>(state));
}

Checksum::Checksum()
    : state(XXH3_createState())
{
    if (!state)
        throw std::bad_alloc();
    XXH3_128bits_reset(static_cast<XXH3_state_t*>(state.get()));
}

void Checksum::Add(const void* data, size_t size)
{
    XXH3_128bits_update(static_cast<XXH3_state_t*>(state.get()), data, size);
}

Checksum::Value Checksum::Sum() const
{
    const XXH128_hash_t sum = XXH3_128bits_digest(static_cast<const XXH3_state_t*>(state.get()));
    return {sum.high64, sum.low64};
}
