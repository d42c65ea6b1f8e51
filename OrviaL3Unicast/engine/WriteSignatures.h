// The signatures of asserting operations that both kinds of entry tables have.
#pragma once

#include "OrviaL3Unicast/plumbing/Assert.h"

namespace OrviaL3Unicast::engine {

template <class T>
inline constexpr auto entryWriteSignature = plumbing::signature<T>(
    plumbing::constHandleText<T>, plumbing::FixedString("entryWriteWithResponseHandler"),
    plumbing::keyAndEntryText<T> +
        ", const OrviaL3Unicast::WriteResponseHandler&, Asic::AutoRemoveType");

}  // namespace OrviaL3Unicast::engine
