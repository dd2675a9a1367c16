// What an item line says of a component before it is packed: name, place, version, rules.
#pragma once

#include "base/Finding.h"
#include "base/Result.h"
#include "site/publish/ItemLine.h"
#include "site/publish/Manifest.h"

namespace lumsite {

// The item of a component of the manifest, without size, hash, URL and signature. Fails when there is no such component
// or its version cannot be the one that the manifest gives; adds what is merely unwise to `warnings`.
base::Result<ItemLine> DescribeComponent(const ManifestComponent &component, base::Findings &warnings);

} // namespace lumsite
