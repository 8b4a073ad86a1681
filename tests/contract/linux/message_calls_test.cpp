// Where no window system stands: messages become text, and the first button answers.
#include "qv/platform/message_calls.h"

#include <gtest/gtest.h>

#include "qv/platform/base.h"

namespace {

struct Said {
  int32_t answer;
  std::string text;
};

template <typename Show>
Said hear(Show show) {
  testing::internal::CaptureStderr();
  const int32_t answer = show();
  return {answer, testing::internal::GetCapturedStderr()};
}

TEST(MessageCalls, ADialogIsWrittenAndAnswered) {
  constexpr qv::MessageButton kButtons[] = {{6, TEXT("&Ja")}, {7, TEXT("&Nein")}};
  qv::MessageDialog box;
  box.title = TEXT("Editor");
  box.text = TEXT("L\u00f6schen?");
  box.details = TEXT("take 3");
  box.buttons = kButtons;
  box.checked = true;
  box.closing = [](void*, int32_t number) { return number; };
  const Said said = hear([&] { return qv::messageCalls().dialog(box); });
  EXPECT_EQ(6, said.answer);
  EXPECT_EQ("Editor: L\u00f6schen?\ntake 3 [Ja]\n", said.text);
  EXPECT_TRUE(box.checked) << "nobody touched it";
  box.buttons = {};
  EXPECT_EQ(0, hear([&] { return qv::messageCalls().dialog(box); }).answer);
}

// As the system's box has its buttons.
TEST(MessageCalls, ASystemBoxGivesItsFirstButton) {
  constexpr int32_t kFirst[] = {1, 1, 3, 6, 6, 4, 2, 0};
  for (uint32_t type = 0; type < std::size(kFirst); ++type) {
    const Said said =
        hear([type] { return qv::messageCalls().systemBox(nullptr, TEXT("Text"), TEXT(""), type | 0x1010); });
    EXPECT_EQ(kFirst[type], said.answer) << type;
    EXPECT_EQ(kFirst[type] != 0 ? "Text\n" : "", said.text) << type;
  }
}

}  // namespace
