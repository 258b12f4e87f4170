// The rows of whole handles.
#include <algorithm>
#include <chrono>
#include <memory>
#include <numeric>

#include "bench/handles.hpp"
#include "bench/peers.hpp"
#include "bench/rounds.hpp"
#include "bench/rows.hpp"
#include "bench/subjects.hpp"
#include "tests/support/recorders.hpp"

namespace bench {
namespace {

using support::sample_bytes;

// Feeds an uplink from the capture, or from silence.
template <typename Uplink>
class Fed {
 public:
  Fed(int32_t format, size_t buffer)
      : uplink_(format),
        bytes_(sample_bytes(format)),
        buffer_(buffer),
        captured_{hosted(capture(0), format), hosted(capture(1), format)} {}

  // Windows are processed in place, and come back a block late, so each is copied in first.
  void next_window() {
    const size_t size = kWindow * bytes_;
    const size_t at = window_++ * size % captured_[0].size();
    work_[0].assign(&captured_[0][at], &captured_[0][at] + size);
    work_[1].assign(&captured_[1][at], &captured_[1][at] + size);
    work_[2].assign(size, 0);
  }
  void silence(int input) { work_[input].assign(kWindow * bytes_, 0); }
  void process(size_t call) {
    const size_t at = call * buffer_ * bytes_;
    uplink_.process(&work_[0][at], &work_[1][at], &work_[2][at], buffer_ * bytes_);
  }
  // From now on windows begin that many blocks later.
  void shift(size_t blocks) {
    next_window();
    for (size_t i = 0; i < blocks; ++i) uplink_.process(&work_[0][0], &work_[1][0], &work_[2][0], kBlock * bytes_);
  }
  // Restarts the core.
  void set(const zeto_tx_param& param) { uplink_.set(param); }
  void process_window() {
    for (size_t call = 0; call < kWindow / buffer_; ++call) process(call);
  }

 private:
  Uplink uplink_;
  size_t bytes_, buffer_, window_ = 0;
  std::vector<unsigned char> captured_[2], work_[3];
};

template <typename Uplink>
Subject uplink_subject(const char* name, int32_t format, size_t buffer, Quote quote, double goal = 0) {
  const auto fed = std::make_shared<Fed<Uplink>>(format, buffer);
  return {name, [fed](size_t call) { fed->process(call); }, [fed] { fed->next_window(); }, goal, quote};
}

Row uplink(int32_t format, size_t buffer, Quote quote) {
  const bool worst = quote == Quote::kWorst;
  const size_t calls = kWindow / buffer;
  const double goal = worst ? 35 : 7.2;
  const double peer_goal = worst ? 0 : 7;
  Row row = {worst ? calls : 1,
             worst ? 1 : calls,
             {uplink_subject<LibraryUplink>("library", format, buffer, quote),
              uplink_subject<PlainUplink>("plain", format, buffer, quote, goal)}};
  if (!worst)
    row.subjects.push_back(uplink_subject<StreamedPeer>("FFTW + liquid-dsp, our streams", format, buffer, quote, 5.5));
  row.subjects.push_back(
      uplink_subject<PeerUplink>("FFTW + liquid-dsp, plain streams", format, buffer, quote, peer_goal));
  return row;
}

// The dearest call of a window against the average block. Perhaps with the delay line on, perhaps with a restart in the
// middle of every window.
Row evenness(int32_t format, size_t buffer, bool delayed, bool restarted) {
  const auto subject = [=](const char* name, Quote quote, double goal, double blocks) {
    const auto fed = std::make_shared<Fed<LibraryUplink>>(format, buffer);
    zeto_tx_param param;
    std::memcpy(&param, kSensing, sizeof param);
    param.UltraHz_delay_ms = delayed ? 200 : 0;
    fed->set(param);
    fed->shift(restarted ? 7 : 0);
    for (int i = 0; i < 3; ++i) fed->next_window(), fed->process_window();
    return Subject{name,
                   [fed](size_t call) { fed->process(call); },
                   [=] {
                     if (restarted) fed->set(param);
                     fed->next_window();
                   },
                   goal,
                   quote,
                   blocks};
  };
  return {kWindow / buffer,
          1,
          {subject("dearest call", Quote::kWorst, 0, 1),
           subject("average block", Quote::kAverage, 0.5, double(buffer) / kBlock)}};
}

// The average block of handles in 64 places: the median of them against the best.
std::vector<Measured> places() {
  constexpr size_t kPlaces = 64, kPasses = 3, kWindows = 30;
  std::vector<double> best(kPlaces, 1e12);
  std::vector<std::vector<char>> gaps;
  std::vector<std::unique_ptr<Fed<LibraryUplink>>> handles;
  for (size_t i = 0; i < kPlaces; ++i) {
    gaps.emplace_back(1 + 16 * (i * 37 % 256));
    handles.push_back(std::make_unique<Fed<LibraryUplink>>(1, kBlock));
  }
  for (size_t pass = 0; pass < kPasses; ++pass) {
    for (size_t i = 0; i < kPlaces; ++i) {
      for (size_t window = 0; window < kWindows; ++window) {
        handles[i]->next_window();
        const auto start = std::chrono::steady_clock::now();
        handles[i]->process_window();
        const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
        best[i] = std::min(best[i], taken.count() / 20);
      }
    }
  }
  std::sort(best.begin(), best.end());
  return {{"median place", best[kPlaces / 2], 0}, {"best place", best[0], 1 / 1.1}, {"worst place", best.back(), 0}};
}

Row streams(int32_t format, size_t buffer) {
  return {1,
          kWindow / buffer,
          {uplink_subject<LibraryStreams>("library", format, buffer, Quote::kAverage),
           uplink_subject<PlainStreams>("plain", format, buffer, Quote::kAverage, format == 1 ? 60 : 25)}};
}

// Ten seconds of an uplink after signal, with silence on one input or both, on average or the dearest 200 ms; against
// windows of signal.
Row silence(const std::vector<int>& inputs, Quote quote, double goal) {
  const auto quiet = std::make_shared<Fed<LibraryUplink>>(1, kBlock);
  const auto loud = std::make_shared<Fed<LibraryUplink>>(1, kBlock);
  const auto play = [](auto fed, const std::vector<int>& silent) {
    fed->next_window();
    for (int input : silent) fed->silence(input);
    fed->process_window();
  };
  const auto start = [play](auto fed) {
    for (int i = 0; i < 2; ++i) play(fed, {});
  };
  return {50,
          1,
          {{"silence", [=](size_t) { play(quiet, inputs); }, [=] { start(quiet); }, 0, quote},
           {"library, signal", [=](size_t) { play(loud, {}); }, [=] { start(loud); }, goal}},
          20};
}

// A round is a whole period, with both fades.
template <typename Downlink>
Subject downlink_subject(const char* name, int32_t format, size_t buffer, Quote quote, double goal = 0) {
  const auto handle = std::make_shared<Downlink>(format);
  std::vector<unsigned char> audio(buffer * sample_bytes(format));
  return {name, [handle, audio](size_t) mutable { handle->process(audio.data(), audio.size()); }, [] {}, goal, quote};
}

Row downlink(int32_t format, size_t buffer, Quote quote) {
  const size_t calls = 100 * kBlock / buffer;
  const bool worst = quote == Quote::kWorst;
  return {worst ? calls : 10,
          worst ? 1 : calls / 10,
          {downlink_subject<LibraryDownlink>("library", format, buffer, quote),
           downlink_subject<PlainDownlink>("plain", format, buffer, quote, worst ? 0 : 12)}};
}

template <typename Handle>
double memory(int32_t format) {
  const support::HeapRecorder recorder;
  const Handle handle(format);
  const auto sizes = recorder.sizes();
  return double(std::accumulate(sizes.begin(), sizes.end(), size_t{0}));
}

}  // namespace

void add_wrappers() {
  for (int32_t format : {1, 2, 3, 4}) {
    for (size_t buffer : {kBlock, size_t{192}}) {
      const std::string name =
          "evenness, format " + std::to_string(format) + ", " + std::to_string(buffer) + " samples";
      add_row(name, [=] { return evenness(format, buffer, false, false); });
      add_row(name + ", delay line", [=] { return evenness(format, buffer, true, false); });
      add_row(name + ", restarts", [=] { return evenness(format, buffer, false, true); });
    }
  }
  struct Side {
    std::string name;
    Row (*make)(int32_t, size_t, Quote);
  };
  for (const Side& side : {Side{"uplink", uplink}, Side{"downlink", downlink}}) {
    for (Quote quote : {Quote::kAverage, Quote::kWorst}) {
      for (int32_t format : {1, 4}) {
        for (size_t buffer : {kBlock, size_t{192}}) {
          add_row(side.name + ", format " + std::to_string(format) + ", " + std::to_string(buffer) + " samples, " +
                      (quote == Quote::kAverage ? "average" : "worst") + " call",
                  [=] { return side.make(format, buffer, quote); });
        }
      }
    }
  }
  for (int32_t format : {1, 4}) {
    for (size_t buffer : {kBlock, size_t{192}}) {
      add_row("streams, format " + std::to_string(format) + ", " + std::to_string(buffer) + " samples",
              [=] { return streams(format, buffer); });
    }
  }
  add_measured("uplink, where its memory lies, average call", places);
  add_row("silence after signal, average", [] { return silence({0, 1}, Quote::kAverage, 1 / 1.1); });
  add_row("silence after signal, worst 200 ms", [] { return silence({0, 1}, Quote::kWorst, 0); });
  add_row("silence on one input, average", [] { return silence({1}, Quote::kAverage, 1 / 1.5); });
  for (int32_t format : {1, 4}) {
    add_figure("memory of an uplink handle, format " + std::to_string(format) + ", bytes",
               [=] { return memory<LibraryUplink>(format); });
    add_figure("memory of a downlink handle, format " + std::to_string(format) + ", bytes",
               [=] { return memory<LibraryDownlink>(format); });
  }
}

}  // namespace bench
