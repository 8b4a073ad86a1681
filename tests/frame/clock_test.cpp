#include "qv/frame/clock.h"

#include <gtest/gtest.h>

#include "qv/frame/detail/clock.h"

namespace {

bool haveCounter;
int64_t frequency;
int64_t counter;
uint32_t tick;

class Clock : public testing::Test {
 protected:
  void SetUp() override {
    qv::resetClock();
    qv::clockPort() = {[](int64_t& value) {
                         value = frequency;
                         return haveCounter;
                       },
                       [] { return counter; }, [] { return tick; }};
    haveCounter = true;
    frequency = 10000000;
    counter = 5000;
    tick = 700;
  }
  void TearDown() override { qv::resetClock(); }
};

TEST_F(Clock, ChoosesOnceAndOnlyInAMode) {
  qv::chooseClock(0);
  EXPECT_FALSE(qv::clockState().fineChosen);
  EXPECT_EQ(700, QvGetMillisec()) << "the coarse clock counts from the system's start";
  qv::chooseClock(qv::kClockMode);
  EXPECT_TRUE(qv::clockState().fineChosen);
  EXPECT_EQ(1000u, qv::clockState().granularity);
  EXPECT_EQ(0, QvGetMicrosec());
  counter += 20000;
  qv::chooseClock(qv::kClockMode);
  EXPECT_EQ(2000, QvGetMicrosec()) << "a second choice would have moved the base";
}

struct Rate {
  int64_t frequency;
  uint32_t perMillisec, perMicrosec, rescale;
  int64_t counts;  // that pass, and the times that they make
  int64_t millisec, microsec;
};

constexpr Rate kRates[] = {
    {10000000, 10000, 10, 0, 123456789, 12345, 12345678},
    {1000000, 1000, 1, 0, -2500, -2, -2500},
    {3579545, 3579, 3, 1193181, 3579545, 1000, 1000000},
    {1193182, 1193, 1, 1193182, 1193182 * 60ll, 60009, 60000000},
    {500000, 500, 1, 500000, 1, 0, 2},
    // 2341 counts to the microsecond is 55 in a million off, and the rescale mends it.
    {2341131000, 2341131, 2341, 1000055, 2341131000, 1000, 1000000},
    {0x100000000 + 1000000, 1000, 1, 0, 5000000000, 5000000, 5000000000},
    // Fifty minutes of a slow counter pass the 32 bits of the rescale.
    {3579545, 3579, 3, 1193181, 3579545 * 3000ll, 3000456, -599592431},
};

TEST_F(Clock, ScalesByTheLowHalfOfTheFrequency) {
  for (const Rate& rate : kRates) {
    SCOPED_TRACE(rate.frequency);
    SetUp();
    frequency = rate.frequency;
    qv::chooseClock(qv::kClockMode);
    const qv::ClockState& state = qv::clockState();
    EXPECT_EQ(static_cast<uint32_t>(rate.frequency), state.countsPerSecond);
    EXPECT_EQ(rate.perMillisec, state.countsPerMillisec);
    EXPECT_EQ(rate.perMicrosec, state.countsPerMicrosec);
    EXPECT_EQ(rate.rescale, state.rescaleRate);
    int64_t base = counter;
    int64_t same = counter;
    counter += rate.counts;
    EXPECT_EQ(rate.millisec, QvGetMillisecEx(&base));
    EXPECT_EQ(rate.microsec, QvGetMicrosecEx(&base));
    EXPECT_EQ(rate.microsec, QvGetMicrosec());
    EXPECT_EQ(rate.millisec, QvDeltaMillisecEx(&base));
    EXPECT_EQ(rate.microsec, QvDeltaMicrosecEx(&same));
    EXPECT_EQ(counter, base);
    EXPECT_EQ(counter, same);
    EXPECT_EQ(0, QvDeltaMicrosecEx(&base));
  }
}

TEST_F(Clock, RawDeltaIsCutTo32Bits) {
  qv::chooseClock(qv::kClockMode);
  int64_t base = counter;
  counter += 0x300000005;
  EXPECT_EQ(0x300000005, qv::clockState().operations.elapsedRaw(&base));
  EXPECT_EQ(5, qv::clockState().operations.deltaRaw(&base));
  EXPECT_EQ(counter, base);
}

TEST_F(Clock, CoarseWithoutAUsableCounter) {
  struct Row {
    bool have;
    int64_t frequency;
  };
  for (const Row row : {Row{false, 10000000}, {true, 0x500000000}, {true, 999}}) {
    SCOPED_TRACE(row.frequency);
    SetUp();
    haveCounter = row.have;
    frequency = row.frequency;
    tick = 0xfffffff0;
    qv::chooseClock(qv::kClockMode);
    EXPECT_FALSE(qv::clockState().fineChosen);
    EXPECT_EQ(1000u, qv::clockState().countsPerSecond);
    EXPECT_EQ(0, QvGetMillisec());
    int64_t base = 0;
    QvDeltaMillisecEx(&base);
    tick = 0x10;  // past the end of its 32 bits
    EXPECT_EQ(32, QvGetMillisec());
    EXPECT_EQ(32000, QvGetMicrosec());
    EXPECT_EQ(32, QvGetMillisecEx(&base));
    EXPECT_EQ(32000, QvDeltaMicrosecEx(&base));
    tick += 5000000;
    EXPECT_EQ(705032704, QvGetMicrosecEx(&base)) << "microseconds wrap after 71 minutes";
    EXPECT_EQ(5000000, QvDeltaMillisecEx(&base));
    EXPECT_EQ(0, QvGetMillisecEx(&base));
  }
}

TEST_F(Clock, RealCounterAdvances) {
  qv::resetClock();
  qv::chooseClock(qv::kClockMode);
  ASSERT_TRUE(qv::clockState().fineChosen);
  int64_t base = 0;
  QvDeltaMicrosecEx(&base);
  int64_t before = 0;
  while (QvGetMillisecEx(&base) < 3) {
    const int64_t now = QvGetMicrosecEx(&base);
    ASSERT_GE(now, before);
    before = now;
  }
  EXPECT_GE(QvGetMicrosecEx(&base), 3000);
}

}  // namespace
