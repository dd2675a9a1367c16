// Why a start has ended: one sentence for the terminal, the page and the alert, and another one with what to do where
// something can be done. None of them begins with a capital letter, because a name stands before them.
#pragma once

#include <optional>
#include <string>

#include "host/frontend/EventSink.h"

namespace lumhost {

// What stands behind a message of the extension (docs/messages.md) of which the container knows no more.
std::string ReasonOfMessage(int number);
// What to do about an installation that failed with this error of the unpacker's: a sentence of its own.
std::string RemedyOfUnpacking(int error);
// `keeps`: a download was interrupted, whose bytes the next start goes on with.
std::string ReasonOfSignal(int signal, bool keeps);
// `state`: what was being done; nothing when the page itself was not there yet.
std::string ReasonOfTimeout(std::optional<State> state, bool keeps);

} // namespace lumhost
