// What lumhost and the process that unpacks tell each other. The first line says who hears the rest: "answer" lumhost,
// from a process that a package may have taken over, "request" the process. Whatever comes, the reader says that it
// makes no sense, or has something that could have been said.
#include <string>

#include "delivery/package/UnpackCode.h"
#include "delivery/worker/Channel.h"
#include "delivery/worker/UnpackWorker.h"
#include "delivery/worker/WorkerMessage.h"
#include "fuzz/Check.h"

namespace {

const delivery::WorkerRequest kRequest{"part.bundle", {1 << 20, 200, 8 << 20}};

constexpr std::size_t kMostWaiting = 128 << 10; // a socket takes so much before it is read

// Through the socket, as it comes in earnest.
base::Result<delivery::WorkerAnswer> Heard(std::string_view bytes) {
    delivery::Channel channel = delivery::MakeChannel().value();
    if (!bytes.empty() && bytes.size() <= kMostWaiting) {
        Require(delivery::SendText(channel.theirs.get(), bytes).has_value(), "a text can be sent");
    }
    channel.theirs.Close();
    return delivery::ReadAnswer(channel.ours.get(), kRequest);
}

void CheckAnswer(std::string_view bytes) {
    const base::Result<delivery::WorkerAnswer> answer = Heard(bytes);
    if (!answer) {
        Require(!answer.error().text.empty(), "a failure has a reason");
        return;
    }
    if (answer->unpacked) {
        Require(answer->unpacked->component == kRequest.component, "only what was asked for has been unpacked");
        Require(answer->unpacked->bytes <= kRequest.limits.maxBytes, "no more than was allowed has been unpacked");
    } else {
        const base::Error &error = answer->unpacked.error();
        Require(error.code != delivery::kUnpackOk && !error.text.empty(), "a failure has a code and a reason");
        Require(error.text.find_first_of("\n\x1b") == std::string::npos, "a reason is one line that can be shown");
    }
    const auto again = delivery::DecodeAnswer(Encode(*answer));
    Require(again && again->unpacked.has_value() == answer->unpacked.has_value(), "an answer says the same again");
}

void CheckRequest(std::string_view bytes) {
    if (const auto request = delivery::DecodeRequest(bytes)) {
        Require(Encode(*request) == bytes, "a request is written in one way");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input = InputText(data, size);
    if (TakeLine(input) == "request") {
        CheckRequest(input);
    } else {
        CheckAnswer(input);
    }
    return 0;
}
