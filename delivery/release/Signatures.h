// Whether enough keys of a role have signed a file (TUF 1.0.34, "threshold" in 5.3 to 5.6).
#pragma once

#include "delivery/release/Metadata.h"

namespace delivery {

// Fails with ReleaseFault::NotSigned. A signature counts when its key is one of the role's and verifies it; keys are
// counted, not their ids, so a key that is listed under two ids counts once. A wrong signature beside enough right ones
// does no harm. `role` is for the text of the error. Any thread.
base::Result<void> CheckSignatures(const SignedFile &file, const KeyList &keys, const RoleKeys &role,
                                   const std::string &roleName);

} // namespace delivery
