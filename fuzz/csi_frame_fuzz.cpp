// The examples' parsers of datagrams, on any bytes: what they take is what docs/live.md describes, and what
// they read of it is the same when it is written and read again.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "csi_frame.h"
#include "fuzz/support/require.h"
#include "sequence_count.h"

using fuzz::require;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A datagram that begins well, and then says what it likes.
Bytes anyFrame(FuzzedDataProvider& in) {
  CsiFrame frame;
  frame.sequence = in.ConsumeIntegral<std::uint32_t>();
  frame.spacing_Hz = in.ConsumeIntegral<std::uint32_t>();
  const auto count = in.ConsumeIntegralInRange<std::size_t>(0, 70);
  frame.tones.assign(count + 1, in.ConsumeIntegral<std::int32_t>());
  for (std::size_t k = 0; k < count; ++k) {
    frame.samples.emplace_back(in.ConsumeFloatingPointInRange<float>(-9.0F, 9.0F), 1.0F);
  }
  Bytes bytes = encodeFrame(frame, in.ConsumeBool() ? SampleFormat::Float32 : SampleFormat::Int16);
  for (int changes = in.ConsumeIntegralInRange(0, 3); changes > 0; --changes) {
    bytes[in.ConsumeIntegralInRange<std::size_t>(0, bytes.size() - 1)] =
        in.ConsumeIntegral<std::uint8_t>();
  }
  bytes.resize(bytes.size() + in.ConsumeIntegralInRange<std::size_t>(0, 1) * 4);
  return bytes;
}

Bytes anyCapture(FuzzedDataProvider& in) {
  static const std::size_t sizes[] = {64, 128, 256, 0, 63, 512};
  Bytes bytes(18 + 4 * in.PickValueInArray(sizes), in.ConsumeIntegral<std::uint8_t>());
  bytes[0] = bytes[1] = 0x11;
  const std::string rest = in.ConsumeRandomLengthString(bytes.size() - 2);
  std::copy(rest.begin(), rest.end(), bytes.begin() + 2);
  return bytes;
}

Bytes anyDatagram(FuzzedDataProvider& in) {
  switch (in.ConsumeIntegralInRange(0, 2)) {
    case 0:
      return anyFrame(in);
    case 1:
      return anyCapture(in);
    default:
      return in.ConsumeRemainingBytes<std::uint8_t>();
  }
}

void requireWhole(const CsiFrame& frame) {
  require(!frame.samples.empty() && frame.samples.size() <= mostFrameSamples, "a size that may be");
  require(frame.tones.size() == frame.samples.size(), "a tone per sample");
  require(std::is_sorted(frame.tones.begin(), frame.tones.end(), std::less_equal<>()) ||
              frame.tones.size() == 1,
          "ascending tones");
  require(frame.spacing_Hz > 0, "a spacing");
  require(std::all_of(frame.samples.begin(), frame.samples.end(),
                      [](auto z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }),
          "finite samples");
}

/// What is read of a good frame of consecutive tones gives the same frame again.
void requireSameAgain(const CsiFrame& frame) {
  const Bytes bytes = encodeFrame(frame, SampleFormat::Float32);
  CsiFrame again;
  require(parseFrame({bytes.data(), bytes.size()}, again) == FrameFault::None, "good again");
  require(again.sequence == frame.sequence && again.spacing_Hz == frame.spacing_Hz &&
              again.tones == frame.tones && again.samples == frame.samples,
          "the same again");
}

void requireFaultOfFrame(const Bytes& bytes, FrameFault fault) {
  require((bytes.size() < 24) == (fault == FrameFault::Short), "short is below 24 bytes");
  if (fault == FrameFault::None) {
    const std::size_t count = bytes[20] + 256U * bytes[21];
    require(std::memcmp(bytes.data(), "FPCS\x01", 5) == 0, "magic and version");
    require(bytes.size() == 24 + count * (bytes[5] == 0 ? 4 : 8), "the length of the header");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  const auto kind = in.ConsumeBool() ? CaptureTones::HT : CaptureTones::Legacy;
  SequenceCount sequences(in.ConsumeBool() ? 16 : 32);
  CsiFrame frame;
  std::uint64_t taken = 0;
  do {
    const Bytes any = anyDatagram(in);
    // An allocation of its very length, so that a byte beyond is a finding.
    const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[any.size()]);
    std::copy(any.begin(), any.end(), exact.get());
    const FrameFault fault = parseFrame({exact.get(), any.size()}, frame);
    requireFaultOfFrame(any, fault);
    if (fault == FrameFault::None) {
      requireWhole(frame);
      sequences.take(frame.sequence);
      ++taken;
      if (any[6] == 0) {
        requireSameAgain(frame);
      }
    }
    if (parseCapture({exact.get(), any.size()}, kind, frame) == FrameFault::None) {
      requireWhole(frame);
      require(any.size() == 18 + 4 * 64 || any.size() == 18 + 4 * 128 || any.size() == 18 + 4 * 256,
              "a size of a capture");
    }
  } while (in.remaining_bytes() > 0);
  require(sequences.late + sequences.restarts <= taken && sequences.lost <= 1024 * taken,
          "no packet counts twice");
  return 0;
}
