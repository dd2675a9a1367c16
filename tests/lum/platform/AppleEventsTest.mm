#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

constexpr AEEventClass kClass = 0x6B767674; // kvvt
constexpr AEEventID kReOnline = 0x72656F6C; // reol
constexpr AEEventID kOpenUrl = 0x6B766F75;  // kvou

ProcessSerialNumber SerialNumber(pid_t pid) {
    ProcessSerialNumber psn = {};
    EXPECT_EQ(GetProcessForPID(pid, &psn), noErr);
    return psn;
}

OSErr Send(const ProcessSerialNumber &psn, AEEventID eventID, DescType type, const std::string &data) {
    AEDesc target;
    AEDesc list;
    AEDesc event;
    EXPECT_EQ(AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, &target), noErr);
    EXPECT_EQ(AECreateList(nullptr, 0, false, &list), noErr);
    EXPECT_EQ(AECreateAppleEvent(kClass, eventID, &target, kAutoGenerateReturnID, kAnyTransactionID, &event), noErr);
    EXPECT_EQ(AEPutPtr(&list, 1, type, data.data(), static_cast<Size>(data.size())), noErr);
    EXPECT_EQ(AEPutParamDesc(&event, keyDirectObject, &list), noErr);
    const OSErr error = AESend(&event, nullptr, kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr);
    for (AEDesc *descriptor : {&target, &list, &event}) {
        EXPECT_EQ(AEDisposeDesc(descriptor), noErr);
    }
    return error;
}

bool WaitForFile(const std::string &path, const std::string &content) {
    return WaitUntil([&] {
        [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
        return std::filesystem::exists(path) && ReadFile(path) == content;
    });
}

class AppleEvents : public testing::Test {
protected:
    TempDir m_folder;
    const std::string m_true = std::string(1, '\1');
};

TEST_F(AppleEvents, ReachTheProcessTheyAreFor) {
    const ChildProcess one(RECEIVER_PROGRAM, {m_folder / "one"});
    const ChildProcess other(RECEIVER_PROGRAM, {m_folder / "other"});
    ASSERT_TRUE(WaitForFile(m_folder / "one", ""));
    ASSERT_TRUE(WaitForFile(m_folder / "other", ""));
    EXPECT_EQ(Send(SerialNumber(one.pid()), kReOnline, typeBoolean, m_true), noErr);
    EXPECT_EQ(Send(SerialNumber(other.pid()), kOpenUrl, typeUTF8Text, "http://x/\xC3\xA9?a=1&b=\"2\""), noErr);
    EXPECT_EQ(Send(SerialNumber(one.pid()), kOpenUrl, typeUTF8Text, ""), noErr);
    EXPECT_TRUE(WaitForFile(m_folder / "one", "AppleEvent.kvvt.reol [1]\nAppleEvent.kvvt.kvou []\n"));
    EXPECT_TRUE(WaitForFile(m_folder / "other", "AppleEvent.kvvt.kvou [http://x/\xC3\xA9?a=1&b=\"2\"]\n"));
}

TEST_F(AppleEvents, WaitForAProcessThatDoesNotListenYet) {
    const ChildProcess late(RECEIVER_PROGRAM, {m_folder / "file", m_folder / "gate"});
    const ProcessSerialNumber psn = SerialNumber(late.pid());
    EXPECT_EQ(Send(psn, kOpenUrl, typeUTF8Text, "first"), noErr);
    EXPECT_EQ(Send(psn, kReOnline, typeBoolean, m_true), noErr);
    m_folder.Write("gate", "");
    EXPECT_TRUE(WaitForFile(m_folder / "file", "AppleEvent.kvvt.kvou [first]\nAppleEvent.kvvt.reol [1]\n"));
    EXPECT_EQ(Send(psn, kOpenUrl, typeUTF8Text, "second"), noErr);
    EXPECT_TRUE(WaitForFile(m_folder / "file", "AppleEvent.kvvt.kvou [first]\nAppleEvent.kvvt.reol [1]\n"
                                               "AppleEvent.kvvt.kvou [second]\n"));
}

TEST_F(AppleEvents, NeedAReceiverAndValidContent) {
    ChildProcess child(RECEIVER_PROGRAM, {m_folder / "file"});
    const ProcessSerialNumber psn = SerialNumber(child.pid());
    EXPECT_EQ(Send(psn, kOpenUrl, typeUTF8Text, "\xFF"), errAECoercionFail) << "not a text";
    EXPECT_EQ(Send(psn, kOpenUrl, typeNull, ""), errAECoercionFail);
    child.End();
    EXPECT_EQ(Send(psn, kReOnline, typeBoolean, m_true), procNotFound);
    EXPECT_EQ(Send({0, kNoProcess}, kReOnline, typeBoolean, m_true), procNotFound);
}

TEST_F(AppleEvents, AreMadeStepByStep) {
    const ProcessSerialNumber psn = {1, 2};
    AEDesc target;
    AEDesc text;
    AEDesc list;
    AEDesc event = {typeBoolean, nullptr};
    EXPECT_EQ(AECreateDesc(typeUTF8Text, nullptr, 1, &text), paramErr);
    ASSERT_EQ(AECreateDesc(typeUTF8Text, "x", 1, &text), noErr);
    EXPECT_EQ(AECreateAppleEvent(kClass, kOpenUrl, &text, kAutoGenerateReturnID, kAnyTransactionID, &event),
              errAEWrongDataType);
    EXPECT_EQ(AEPutParamDesc(&event, keyDirectObject, &text), errAENotAEDesc)
        << "a failed call leaves a null descriptor";
    EXPECT_EQ(AESend(&event, nullptr, kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr),
              errAENotAEDesc);
    ASSERT_EQ(AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, &target), noErr);
    ASSERT_EQ(AECreateAppleEvent(kClass, kOpenUrl, &target, kAutoGenerateReturnID, kAnyTransactionID, &event), noErr);
    EXPECT_EQ(AECreateList(nullptr, 0, true, &list), paramErr) << "a record";
    ASSERT_EQ(AECreateList(nullptr, 0, false, &list), noErr);
    EXPECT_EQ(AEPutPtr(&text, 1, typeUTF8Text, "x", 1), errAEWrongDataType);
    EXPECT_EQ(AEPutPtr(&list, 2, typeUTF8Text, "x", 1), errAEIllegalIndex);
    EXPECT_EQ(AEPutPtr(&list, 0, typeUTF8Text, "x", 1), noErr);
    EXPECT_EQ(AEPutPtr(&list, 1, typeUTF8Text, "y", 1), noErr);
    EXPECT_EQ(AEPutPtr(&list, 2, typeUTF8Text, nullptr, 0), noErr);
    for (AEDesc *descriptor : {&target, &text, &list, &event, &event}) {
        EXPECT_EQ(AEDisposeDesc(descriptor), noErr) << "also a null descriptor";
    }
}

} // namespace
