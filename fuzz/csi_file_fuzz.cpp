// The examples' reader of measurement files beside a reader that takes its time, on any bytes.

#include <fuzzer/FuzzedDataProvider.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <istream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "csi_file.h"
#include "fuzz/support/any_csi_text.h"
#include "fuzz/support/require.h"
#include "fuzz/support/slow_csi_reader.h"
#include "tests/support/same_bits.h"

using fuzz::require;

namespace {

/// A text behind which the device fails.
class BreakingBuffer : public std::streambuf {
 public:
  explicit BreakingBuffer(std::string text) : text_(std::move(text)) {
    setg(text_.data(), text_.data(), text_.data() + text_.size());
  }

 protected:
  int_type underflow() override { throw std::ios_base::failure("the device fails"); }

 private:
  std::string text_;
};

/// A file without a name in any folder, as long as it lives.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& text) : descriptor_(memfd_create("csi", 0)) {
    require(descriptor_ >= 0 &&
                write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            "a file to read from");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

/// A complaint names the file and the line at fault, and is fit for a terminal.
void requireComplaint(const std::string& complaint, const std::string& name, std::size_t line) {
  const std::string place = line > 0 ? name + ", line " + std::to_string(line) : name;
  require(complaint.rfind(place + ": ", 0) == 0, "\"" + complaint + "\" begins with " + place);
  require(complaint.size() > place.size() + 2, "says what is wrong");
  require(std::ranges::all_of(complaint, [](char c) { return c >= ' ' && c <= '~'; }),
          "nothing that a terminal would take for a command");
}

void requireSameFile(const CsiFile& file, std::uint64_t spacing_Hz,
                     const std::vector<std::vector<creal32_T>>& measurements, const char* what) {
  require(file.spacing_Hz == spacing_Hz, what);
  require(std::ranges::equal(file.measurements, measurements,
                             [](const auto& a, const auto& b) {
                               return std::ranges::equal(a, b, [](creal32_T x, creal32_T y) {
                                 return support::sameBits(x, y);
                               });
                             }),
          what);
}

std::string printedFile(const CsiFile& file) {
  std::string text = "# spacing_hz=" + std::to_string(file.spacing_Hz) +
                     " measurements=" + std::to_string(file.measurements.size()) + "\n";
  for (const std::vector<creal32_T>& measurement : file.measurements) {
    std::string row;
    for (const creal32_T& sample : measurement) {
      row += "," + fuzz::printed(sample.re) + "," + fuzz::printed(sample.im);
    }
    text += row.substr(1) + "\n";
  }
  return text;
}

template <class Read>
void requireAsModel(const fuzz::SlowCsi& expected, const std::string& name, Read read) {
  std::optional<CsiFile> file;
  try {
    file = read();
  } catch (const std::runtime_error& error) {
    require(!expected.usable, std::string("usable, but: ") + error.what());
    requireComplaint(error.what(), name, expected.line);
    return;
  }
  require(expected.usable, "line " + std::to_string(expected.line) + " is at fault");
  requireSameFile(*file, expected.spacing_Hz, expected.measurements, "as the slow reader");
  std::istringstream again(printedFile(*file));
  requireSameFile(readCsi(again, "again"), file->spacing_Hz, file->measurements,
                  "printed and read again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  const int source = in.ConsumeIntegralInRange(0, 15);
  const std::string text = fuzz::anyCsiText(in);
  if (source == 0) {
    // What stands behind the last line end before the failure may be part of a line.
    const std::string lines = text.substr(0, text.rfind('\n') + 1);
    BreakingBuffer buffer(text);
    std::istream stream(&buffer);
    requireAsModel(fuzz::SlowCsiReader::read(lines, false), "broken",
                   [&] { return readCsi(stream, "broken"); });
  } else if (source == 1) {
    const MemoryFile file(text);
    requireAsModel(fuzz::SlowCsiReader::read(text, true), file.path(),
                   [&] { return readCsiFile(file.path()); });
  } else {
    std::istringstream stream(text);
    requireAsModel(fuzz::SlowCsiReader::read(text, true), "name.csv",
                   [&] { return readCsi(stream, "name.csv"); });
  }
  return 0;
}
