// How a run's end is decided, and what its progress says.
#include <gmock/gmock.h>

#include "host/frontend/ProgressMeter.h"
#include "host/run/RunWatch.h"
#include "host/frontend/Terminal.h"

using namespace lumhost;
using namespace std::chrono_literals;
using Kind = TraceNews::Kind;

namespace {

const RunWatch::Clock::time_point kStart{1000s};

// What happens, and when.
struct Event {
    std::chrono::milliseconds at;
    enum { Heard, Shown, SentOn, Stop, NothingToDo, Refused, Reported, Called } what; // the call ends then
    Kind kind = Kind::Starts;
    int number = 0;
    std::chrono::milliseconds took{0};
};

void Tell(RunWatch &watch, const Event &event) {
    const auto now = kStart + event.at;
    switch (event.what) {
    case Event::Heard:
        watch.Heard({event.kind, 0, {}}, now);
        break;
    case Event::Shown:
        watch.Shown(event.number, now);
        break;
    case Event::SentOn:
        watch.SentOn();
        break;
    case Event::Stop:
        watch.AskedToStop();
        break;
    case Event::NothingToDo:
        watch.NothingToDo();
        break;
    case Event::Refused:
        watch.SecondMeeting(24);
        break;
    case Event::Reported:
        watch.Reported(42, now);
        break;
    case Event::Called:
        watch.CallEnded(now - event.took, now);
        break;
    }
}

// Tells what happens, each when its time has come. Nothing is decided at `notYet`, but the end at `then`; no ending:
// not even then.
void Case(const char *what, const std::vector<Event> &events, bool busy, std::chrono::milliseconds notYet,
          std::chrono::milliseconds then, std::optional<Ending> ending, int message = 0, bool pageWaits = false) {
    SCOPED_TRACE(what);
    RunWatch watch(pageWaits, kStart);
    std::size_t told = 0;
    const auto tellUntil = [&](std::chrono::milliseconds until) {
        for (; told < events.size() && events[told].at <= until; ++told) {
            Tell(watch, events[told]);
        }
    };
    tellUntil(notYet);
    EXPECT_FALSE(watch.Judge(busy, kStart + notYet));
    tellUntil(then);
    const auto verdict = watch.Judge(busy, kStart + then);
    ASSERT_EQ(ending.has_value(), verdict.has_value());
    if (verdict) {
        EXPECT_EQ(*ending, verdict->ending);
        EXPECT_EQ(message, verdict->message);
    }
}

TEST(RunWatch, DecidesTheEnd) {
    const auto heard = [](std::chrono::milliseconds at, Kind kind) { return Event{at, Event::Heard, kind}; };
    const auto shown = [](std::chrono::milliseconds at, int number) {
        return Event{at, Event::Shown, Kind::Starts, number};
    };
    constexpr bool kBusy = true;
    constexpr bool kIdle = false;
    Case("nothing happens", {}, kIdle, 9s, 10s, Ending::NothingMore);
    Case("downloads run", {}, kBusy, 1h, 2h, std::nullopt);
    Case("all installed, nothing to start", {heard(1s, Kind::AllInstalled)}, kIdle, 3s, 4s, Ending::NothingMore);
    Case("a call that took long", {{60s, Event::Called, Kind::Starts, 0, 55s}}, kIdle, 69s, 70s, Ending::NothingMore);
    Case("calls that did not", {{9s, Event::Called, Kind::Starts, 0, 50ms}}, kIdle, 9s, 10s, Ending::NothingMore);
    Case("sent on", {{1s, Event::SentOn}}, kBusy, 999ms, 1s, Ending::Done);
    Case("sent on although a package failed", {heard(0s, Kind::MainReady), shown(1s, 7003), {2s, Event::SentOn}}, kIdle,
         1999ms, 2s, Ending::Done, 7003);
    Case("stopped", {heard(0s, Kind::MainReady), shown(0s, 7), {1s, Event::Stop}}, kBusy, 999ms, 1s, Ending::Stopped,
         7);
    Case("a message stops at once, whatever still runs", {shown(1s, 7003)}, kBusy, 999ms, 1s, Ending::Message, 7003);
    Case("one about a package does not when the main component is ready", {heard(0s, Kind::MainReady), shown(1s, 7)},
         kBusy, 1h, 2h, std::nullopt);
    Case("but when all the others are dealt with", {heard(0s, Kind::MainReady), shown(1s, 7)}, kIdle, 2999ms, 3s,
         Ending::Message, 7);
    Case("any other one stops all the same", {heard(0s, Kind::MainReady), shown(1s, 6)}, kBusy, 999ms, 1s,
         Ending::Message, 6);
    Case("nothing in the instructions", {{1s, Event::NothingToDo}}, kBusy, 999ms, 1s, Ending::NothingMore);
    Case("a second meeting", {{0s, Event::Refused}, heard(0s, Kind::MeetingRuns), {1s, Event::SentOn}}, kIdle, 999ms,
         1s, Ending::Message, 24);
    Case("a meeting that was looked after", {heard(0s, Kind::MeetingRuns), heard(1s, Kind::MeetingSeen)}, kIdle, 999ms,
         1s, Ending::Done);
    Case("a meeting that nobody looks after", {heard(1s, Kind::MeetingRuns)}, kIdle, 60s, 61s, Ending::Done);
    Case("a page that waits for it", {heard(0s, Kind::MeetingRuns)}, kIdle, 304s, 305s, Ending::Done, 0, true);
    Case("a player", {heard(1s, Kind::PlayerRuns)}, kIdle, 5s, 6s, Ending::Done);
    Case("an application that reported itself", {{1s, Event::Reported}}, kIdle, 5s, 6s, Ending::Done);
    Case("a start that failed", {heard(1s, Kind::MeetingRuns), shown(1s, 18)}, kIdle, 999ms, 1s, Ending::Message, 18);
    Case("an application that went away", {heard(0s, Kind::MeetingRuns), heard(1s, Kind::MeetingSeen), shown(1s, 18)},
         kIdle, 999ms, 1s, Ending::Message, 18);
}

TEST(RunWatch, TellsOfTheApplicationOnce) {
    RunWatch watch(false, kStart);
    EXPECT_FALSE(watch.TakeLaunch());
    watch.Heard({Kind::Process, 42, {}}, kStart);
    EXPECT_FALSE(watch.TakeLaunch()) << "a process alone is not yet an application that runs";
    watch.Heard({Kind::MeetingRuns, 0, {}}, kStart);
    auto launch = watch.TakeLaunch();
    ASSERT_TRUE(launch);
    EXPECT_EQ(42, launch->pid);
    EXPECT_FALSE(launch->joined);
    EXPECT_FALSE(watch.TakeLaunch());
    watch.Heard({Kind::Joined, 42, {}}, kStart);
    launch = watch.TakeLaunch();
    ASSERT_TRUE(launch);
    EXPECT_TRUE(launch->joined);

    RunWatch failed(false, kStart);
    failed.Heard({Kind::MeetingRuns, 0, {}}, kStart);
    failed.Shown(18, kStart);
    EXPECT_FALSE(failed.TakeLaunch()) << "it was said to run before the start was known to have failed";
}

// So many bytes every 100 ms, for so long.
void Feed(ProgressMeter &meter, RateWindow::Clock::time_point &now, std::uint32_t bytes, std::chrono::seconds time) {
    for (const auto end = now + time; now < end; now += 100ms) {
        meter.Receive(now, bytes);
    }
}

TEST(ProgressMeter, TimeLeftFollowsTheLine) {
    ProgressMeter meter;
    auto now = kStart;
    meter.Announce(60'000'000);
    Feed(meter, now, 100'000, 1s);
    EXPECT_FALSE(meter.Now(now).secondsLeft) << "too early to say";
    Feed(meter, now, 100'000, 9s); // 1 MB/s; 10 of 60 MB
    Progress progress = meter.Now(now);
    EXPECT_EQ(16, progress.percent);
    EXPECT_NEAR(1'000'000, static_cast<double>(*progress.rate), 20'000);
    EXPECT_EQ(55U, progress.secondsLeft) << "50, and a little because of the last tenth of a second";

    // It does not jump: from one word to the next it goes down, in steps.
    unsigned last = 55;
    for (int second = 0; second < 20; ++second) {
        Feed(meter, now, second % 2 == 0 ? 110'000 : 90'000, 1s); // a line that sways
        const unsigned left = *meter.Now(now).secondsLeft;
        EXPECT_LE(left, last);
        EXPECT_GE(left + 5, last);
        last = left;
    }

    // The line breaks down: nothing is promised until its new pace is known, and then by that alone.
    Feed(meter, now, 1'000, 3s);
    EXPECT_FALSE(meter.Now(now).secondsLeft.has_value() && *meter.Now(now).secondsLeft <= last)
        << "the old pace does not hold any more";
    Feed(meter, now, 1'000, 8s); // 10 kB/s; about 30 MB to go
    EXPECT_GT(meter.Now(now).secondsLeft.value_or(0), 2000U);
    now += 4s;
    EXPECT_FALSE(meter.Now(now).secondsLeft) << "nothing comes at all";
}

TEST(ProgressMeter, WithoutSizes) {
    ProgressMeter meter;
    auto now = kStart;
    meter.Announce(0);
    Feed(meter, now, 1000, 5s);
    const Progress progress = meter.Now(now);
    EXPECT_EQ(50'000U, progress.received);
    EXPECT_FALSE(progress.total || progress.percent || progress.secondsLeft);
    EXPECT_TRUE(progress.rate);
    meter.Announce(10'000);
    EXPECT_EQ(100, meter.Now(now).percent) << "more than announced is not more than all";
    EXPECT_FALSE(meter.Now(now).secondsLeft);
}

TEST(ProgressMeter, StepsOfTheTimeLeft) {
    EXPECT_EQ(1U, RoundedTimeLeft(0.1));
    EXPECT_EQ(10U, RoundedTimeLeft(9.2));
    EXPECT_EQ(15U, RoundedTimeLeft(10.5));
    EXPECT_EQ(60U, RoundedTimeLeft(60));
    EXPECT_EQ(120U, RoundedTimeLeft(61));
    EXPECT_EQ(100'000'000U, RoundedTimeLeft(1e300));
}

TEST(Terminal, ProgressFitsTheLine) {
    const Progress known{12'345'678, 29'000'000, 42, 1'200'000, 15};
    EXPECT_EQ("[#########              ]  42%  12.3 MB of 29.0 MB  1.2 MB/s  about 15 s left", ProgressLine(known, 78));
    for (int width = 1; width < 120; ++width) {
        EXPECT_LE(ProgressLine(known, width).size(), static_cast<std::size_t>(width));
    }
    EXPECT_EQ("512 bytes", ProgressLine({512, {}, {}, {}, {}}, 80));
    EXPECT_THAT(ProgressLine({512, 1024, 50, {}, {}}, 80), testing::HasSubstr("time left unknown"));
    EXPECT_THAT(ProgressLine({1024, 1024, 100, {}, {}}, 80), testing::EndsWith("100%  1.0 kB of 1.0 kB"));
    EXPECT_THAT(ProgressLine({512, 1024, 50, 1, 7000}, 80), testing::HasSubstr("about 116 min left"));
}

} // namespace
