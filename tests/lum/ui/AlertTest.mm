// The "Too Many Meetings" alert, in front of a person.
#include <gtest/gtest.h>

#include "lum/lumext/MeetingAlert.h"
#include "tests/lum/ui/Windows.h"

// Each is answered only when its window carries the title; otherwise the test does not end by itself.
TEST(MeetingAlert, CarriesItsTitleAndClosesByKey) {
    StartWindows();
    const struct {
        const char *language, *title, *key;
    } cases[] = {{nullptr, "Too Many Meetings", "Return"},
                 {"9", "Zu viele Meetings", "Escape"},
                 {"5", "ミーティングが多すぎます", "space"}};
    for (const auto &test : cases) {
        const auto person = Desktop::Get().PressOnceShown(test.title, test.key);
        EXPECT_TRUE(ShowTooManyMeetingsAlert(test.language));
    }
}
