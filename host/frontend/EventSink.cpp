#include "host/frontend/EventSink.h"

namespace lumhost {

const char *NameOf(State state) {
    switch (state) {
    case State::Starting:
        return "starting";
    case State::Instructions:
        return "instructions";
    case State::Downloading:
        return "downloading";
    case State::Installing:
        return "installing";
    case State::Launching:
        return "launching";
    case State::Waiting:
        return "waiting";
    }
    return "";
}

} // namespace lumhost
