// The rows of whole handles.
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
  const double goal = worst ? 4.5 : format == 1 ? 7 : 6.5;
  const double peer_goal = worst ? 0 : 7;
  Row row = {worst ? calls : 1,
             worst ? 1 : calls,
             {uplink_subject<LibraryUplink>("library", format, buffer, quote),
              uplink_subject<PlainUplink>("plain", format, buffer, quote, goal),
              uplink_subject<PeerUplink>("FFTW + liquid-dsp, plain streams", format, buffer, quote, peer_goal)}};
  if (!worst)
    row.subjects.push_back(uplink_subject<StreamedPeer>("FFTW + liquid-dsp, our streams", format, buffer, quote));
  return row;
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
           downlink_subject<PlainDownlink>("plain", format, buffer, quote, worst ? 0 : 9)}};
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
  add_row("silence after signal, average", [] { return silence({0, 1}, Quote::kAverage, 1 / 1.1); });
  add_row("silence after signal, worst 200 ms", [] { return silence({0, 1}, Quote::kWorst, 0); });
  add_row("silence on one input, average", [] { return silence({1}, Quote::kAverage, 0); });
  for (int32_t format : {1, 4}) {
    add_figure("memory of an uplink handle, format " + std::to_string(format) + ", bytes",
               [=] { return memory<LibraryUplink>(format); });
    add_figure("memory of a downlink handle, format " + std::to_string(format) + ", bytes",
               [=] { return memory<LibraryDownlink>(format); });
  }
}

}  // namespace bench
