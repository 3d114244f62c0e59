#include "tools/TileClient.h"

#include <gtest/gtest.h>

#include "broker/RCRemoteBroker.h"
#include "legacy/TileMessages.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace {

using Wait = tools::TileClient::Wait;

bool Never() { return false; }

// A display of 32 x 32 pixels and one of 16 x 16 beside it, and then what tells that there are no more.
TEST(TileClientTest, EveryDisplayIsWaitedForAlsoWhereTheyDoNotFillTheDesktop) {
  const test::TemporaryFolder folder;
  setenv("KORVANE_PORTS_DIR", folder.Path().c_str(), 1);
  const struct {
    const char* what;
    tiles::Area last;
  } cases[] = {{"the rest of the desktop", {32, 16, 48, 32}},
               {"a frame that shows nothing", {0, 0, 1, 1}},
               {"a part of the first display", {16, 16, 32, 32}}};
  for (const auto& row : cases) {
    tools::TileClient client;
    ASSERT_TRUE(client.Start());
    RCRemoteClient service;
    const tiles::Send send = [&](std::span<const uint8_t> record) {
      std::vector<uint8_t> message = {'R', 'C', 'H', '1', 0, 0, 0, 0, 0, 0, 0, 0};
      message.insert(message.end(), record.begin(), record.end());
      service.TransferData(message.data(), static_cast<long>(message.size()));
    };
    uint16_t sequence = 6;
    int seen = 0;
    const auto show = [&](const tiles::Area& area) {
      const bool pixels = area.right > 1;
      const auto tileCount =
          static_cast<uint8_t>((area.right - area.left) / 16 * (area.bottom - area.top) / 16);
      tiles::SendFrame(area.left, area.top, area.right - 1, area.bottom - 1, ++sequence,
                       pixels ? std::vector<uint8_t>{11, tileCount} : std::vector<uint8_t>{}, send);
      return test::WaitFor([&] { return (seen += client.TakeTraffic().changes.updates) == sequence - 7; });
    };
    ASSERT_TRUE(show({0, 0, 48, 32})) << "of a view that began before";
    EXPECT_FALSE(client.KnowsDesktop());
    tiles::SendDesktop(48, 32, 16, tiles::kPixels555, send);
    for (const tiles::Area& display : {tiles::Area{0, 0, 32, 32}, tiles::Area{32, 0, 48, 16}}) {
      ASSERT_TRUE(show(display)) << client.Error();
      EXPECT_EQ(client.ForPicture({}, Never), Wait::kTimedOut) << row.what;
    }
    ASSERT_TRUE(show(row.last)) << client.Error();
    EXPECT_EQ(client.ForPicture({}, Never), Wait::kThere) << row.what;
  }
}

}  // namespace
