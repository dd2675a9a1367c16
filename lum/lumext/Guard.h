// The edge towards the host: what runs inside never throws into it.
#pragma once

#include <optional>
#include <string>
#include <utility>

// Calls function(context) with an autorelease pool of its own. An exception of either language is traced at error level
// with `where` in front, and the call counts as finished.
void RunGuarded(const char *where, void (*function)(void *), void *context);

// Calls function(context). The exception of either language that ended it, in words, or nothing.
std::optional<std::string> RunCatching(void (*function)(void *), void *context);

template <class Body> std::optional<std::string> Catching(Body &&body) {
    return RunCatching([](void *context) { (*static_cast<std::remove_reference_t<Body> *>(context))(); }, &body);
}

template <class Body> void Guarded(const char *where, Body &&body) {
    RunGuarded(
        where, [](void *context) { (*static_cast<std::remove_reference_t<Body> *>(context))(); }, &body);
}
