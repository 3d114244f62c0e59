// How fast does a frame become a tile stream, beside memcpy of its pixels, the plain algorithm and hextile?
//
// Hextile is that of the VNC server library, the nearest encoder with tiles of that size: the same 16-bit
// pixels, sent into a pipe's write end that throws everything away. It compares with no former frame, so that
// it has no contestant on unchanged frames.
#include <fcntl.h>
#include <rfb/rfb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "bench/Rounds.h"
#include "legacy/TileCoder.h"
#include "platform/Handles.h"
#include "tests/legacy/PlainEncoder.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kAlignedHeight = 1088;
constexpr int kAcross = kWidth / tiles::kTileSide;
constexpr int kDown = kAlignedHeight / tiles::kTileSide;
constexpr int kRounds = 15;
constexpr int kFramesARound = 20;

using Picture = std::vector<uint16_t>;

constexpr uint16_t Grey(unsigned level) { return static_cast<uint16_t>(level << 10 | level << 5 | level); }

uint16_t& At(Picture& picture, int x, int y) {
  return picture[static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)];
}

void Fill(Picture& picture, int left, int top, int width, int height, uint16_t colour) {
  for (int y = top; y < std::min(top + height, kHeight); ++y)
    for (int x = left; x < std::min(left + width, kWidth); ++x) At(picture, x, y) = colour;
}

// Black glyphs of 8 x 13 pixels on white, without grey edges; a third of the lines are short.
Picture Text() {
  Picture picture(size_t{kWidth} * kAlignedHeight, 0);
  Fill(picture, 0, 0, kWidth, kHeight, Grey(31));
  std::minstd_rand random(1);
  for (int line = 4; line + 13 < kHeight; line += 15) {
    const int end = random() % 3 == 0 ? kWidth / 3 : kWidth - 40;
    for (int x = 10; x < end; x += 8) {
      if (random() % 6 == 0) continue;
      for (int stroke = 0; stroke < 3; ++stroke) {
        const int dx = static_cast<int>(random() % 6);
        const int dy = static_cast<int>(random() % 9);
        random() % 2 == 0 ? Fill(picture, x + dx, line + 2, 1, 9, 0) : Fill(picture, x, line + dy, 6, 1, 0);
      }
    }
  }
  return picture;
}

// A desktop: plain ground, windows with frames and shaded title bars, buttons, a page of text in one of them.
Picture Interface() {
  Picture picture(size_t{kWidth} * kAlignedHeight, 0);
  Fill(picture, 0, 0, kWidth, kHeight, 0x1A4C);
  const Picture text = Text();
  std::minstd_rand random(2);
  for (int i = 0; i < 7; ++i) {
    const int left = static_cast<int>(random() % 1200);
    const int top = static_cast<int>(random() % 600);
    const int width = 400 + static_cast<int>(random() % 300);
    const int height = 250 + static_cast<int>(random() % 200);
    Fill(picture, left - 1, top - 1, width + 2, height + 2, Grey(4));
    Fill(picture, left, top, width, height, Grey(28));
    for (int y = 0; y < 24; ++y)
      Fill(picture, left, top + y, width, 1, Grey(static_cast<unsigned>(30 - y / 3)));
    for (int button = 0; button < 4; ++button)
      Fill(picture, left + 20 + 90 * button, top + height - 40, 80, 24, Grey(24));
    if (i % 2 == 0) continue;
    for (int y = 30; y < height - 50; ++y)
      for (int x = 10; x < width - 10; ++x)
        if (left + x < kWidth && top + y < kHeight)
          At(picture, left + x, top + y) = text[static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)];
  }
  return picture;
}

// Slow waves with noise in the lowest bits, as a camera gives.
Picture Photo() {
  Picture picture(size_t{kWidth} * kAlignedHeight, 0);
  std::minstd_rand random(3);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const auto part = [&](int period, int shift) {
        return static_cast<unsigned>(((x + 2 * y + shift) / period) % 28) +
               static_cast<unsigned>(random() >> 9) % 4;
      };
      At(picture, x, y) = static_cast<uint16_t>(part(37, 0) << 10 | part(53, 91) << 5 | part(71, 333));
    }
  }
  return picture;
}

// Encodes frames as a server would for a client of the same pixel format.
class Hextile {
 public:
  explicit Hextile(Picture& picture) {
    rfbLogEnable(FALSE);
    int arguments = 0;
    screen_ = rfbGetScreen(&arguments, nullptr, kWidth, kHeight, 5, 3, 2);
    screen_->frameBuffer = reinterpret_cast<char*>(picture.data());
    screen_->serverFormat.redShift = 10;
    screen_->serverFormat.greenShift = 5;
    screen_->serverFormat.blueShift = 0;
    screen_->autoPort = FALSE;
    screen_->port = screen_->ipv6port = -1;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
    client_ = rfbNewClient(screen_, ends[0]);
    if (client_ == nullptr) std::abort();
    const platform::UniqueFd other(ends[1]);
    const platform::UniqueFd nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (dup2(nowhere.Get(), client_->sock) < 0) std::abort();
    client_->format = screen_->serverFormat;
    if (rfbSetTranslateFunction(client_) == FALSE) std::abort();
  }
  ~Hextile() {
    rfbCloseClient(client_);
    rfbClientConnectionGone(client_);
    screen_->frameBuffer = nullptr;
    rfbScreenCleanup(screen_);
  }
  Hextile(const Hextile&) = delete;
  Hextile& operator=(const Hextile&) = delete;

  void Encode() {
    if (rfbSendRectEncodingHextile(client_, 0, 0, kWidth, kHeight) == FALSE) std::abort();
    client_->ublen = 0;
  }

 private:
  rfbScreenInfoPtr screen_ = nullptr;
  rfbClientPtr client_ = nullptr;
};

class Ours {
 public:
  explicit Ours(const Picture& picture) : frame_{picture.data(), kAcross, kDown, 0} {
    places_.assign(size_t{kAcross} * kDown, tiles::kNoChecksum);
  }

  void Forget() { std::fill(places_.begin(), places_.end(), tiles::kNoChecksum); }

  size_t Encode() {
    const auto places = [this](int row) {
      return std::span(places_).subspan(static_cast<size_t>(row) * kAcross, kAcross);
    };
    return coder_.Encode(frame_, places).size();
  }

 private:
  tiles::TileFrame frame_;
  std::vector<uint64_t> places_;
  tiles::TileCoder coder_;
};

double EachOf(int frames, const std::function<void()>& run) {
  return bench::Microseconds([&] {
           for (int i = 0; i < frames; ++i) run();
         }) /
         frames;
}

void Measure(const char* name, Picture picture, bool unchanged) {
  Picture copy(picture.size());
  Ours ours(picture);
  Hextile hextile(picture);
  const size_t length = (ours.Encode(), unchanged ? ours.Encode() : (ours.Forget(), ours.Encode()));
  std::vector<uint64_t> plainPlaces;

  std::vector<bench::Contestant> contestants = {
      {"memcpy of the pixels",
       [&] {
         return EachOf(kFramesARound,
                       [&] { std::memcpy(copy.data(), picture.data(), picture.size() * sizeof(uint16_t)); });
       }},
      {"ours",
       [&] {
         return EachOf(kFramesARound, [&] {
           if (!unchanged) ours.Forget();
           ours.Encode();
         });
       }},
      {"the plain algorithm", [&] {
         plainPlaces.assign(size_t{kAcross} * kDown, tiles::kNoChecksum);
         if (unchanged) static_cast<void>(test::EncodePlain(picture, kAcross, kDown, 0, &plainPlaces));
         return EachOf(
             1, [&] { static_cast<void>(test::EncodePlain(picture, kAcross, kDown, 0, &plainPlaces)); });
       }}};
  if (!unchanged) contestants.push_back({"hextile", [&] { return EachOf(2, [&] { hextile.Encode(); }); }});

  std::printf("%s: %d x %d, %zu bytes of stream\n", name, kWidth, kHeight, length);
  const auto results = bench::Run(contestants, kRounds);
  const double time = results[1].median;
  std::printf("  ours: %.2f times memcpy's time; the plain algorithm's time is %.1f times ours",
              time / results[0].median, results[2].median / time);
  if (!unchanged) std::printf(", hextile's %.1f times", results[3].median / time);
  std::printf("\n");
}

}  // namespace

int main() {
  Measure("unchanged interface", Interface(), true);
  Measure("unchanged photo", Photo(), true);
  Measure("text", Text(), false);
  Measure("interface", Interface(), false);
  Measure("photo", Photo(), false);
}
