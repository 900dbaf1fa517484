#include "blanking/screen_blanker.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/support/recording_logger.h"
#include "tests/unit/library/message_of.h"

namespace {

using testing_support::RecordingLogger;

// A blanker that records what it is asked for.
struct FakeBlanker : IOSScreenBlanker {
  FakeBlanker(std::vector<std::uint32_t>& requests, std::uint32_t supported)
      : requests(requests), supported(supported) {}
  ScreenBlankingMethod getSupportedMethods() override { return static_cast<ScreenBlankingMethod>(supported); }
  void requestScreenBlanking(ScreenBlankingMethod method) override { requests.push_back(method); }
  ScreenBlankingMethod getCurrentMethods() override { return NoBlanking; }
  std::string getSavedDisplayStates() const override { return "from fake"; }

  std::vector<std::uint32_t>& requests;
  std::uint32_t supported;
};

TEST(ScreenBlankerTest, BlankAsksForWhatTheBlankerSupportsAndRestoreForNoBlanking) {
  for (const std::uint32_t supported : {3u, 1u, 7u}) {
    std::vector<std::uint32_t> requests;
    auto logger = std::make_unique<RecordingLogger>();
    RecordingLogger& log = *logger;
    ScreenBlanker blanker(std::move(logger), "ignored document",
                          std::make_unique<FakeBlanker>(requests, supported));
    blanker.blank();
    blanker.restore();
    EXPECT_EQ(requests, (std::vector<std::uint32_t>{supported, 1u}));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"Screen Blanker received request to blank",
                                                        "Screen Blanker received request to restore"}));
    EXPECT_EQ(blanker.getSavedDisplayStates(), "from fake");
  }
}

TEST(ScreenBlankerTest, RequiresALogger) {
  std::vector<std::uint32_t> requests;
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>(
                [&] { ScreenBlanker blanker(nullptr, "", std::make_unique<FakeBlanker>(requests, 3)); }),
            "screen blanker requires a valid logger");
}

TEST(ScreenBlankerTest, OnlyOptionZeroIsRestoreOnly) {
  ScreenBlanker::setOption(0, false);
  ScreenBlanker::setOption(1, true);
  EXPECT_FALSE(ScreenBlanker::restoreOnly());
  ScreenBlanker::setOption(0, true);
  EXPECT_TRUE(ScreenBlanker::restoreOnly());
  ScreenBlanker::setOption(0, false);
}

}  // namespace
