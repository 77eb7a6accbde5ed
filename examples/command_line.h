#pragma once

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>

/// What the programs share of reading a command line, and of answering it.

/// The whole of `text` as a number, or nothing where it is none or leaves the type's range.
template <class Number>
std::optional<Number> numberIn(const char* text) {
  Number value = {};
  const char* const end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, value);
  if (error != std::errc() || stop != end) {
    return {};
  }
  return value;
}

/// Takes over the value where there is one, and says whether there is.
template <class Value, class Target>
bool assign(const std::optional<Value>& value, Target& target) {
  if (value) {
    target = *value;
  }
  return value.has_value();
}

/// The options of a command line of long names, or nothing where `read` refuses one. What stands
/// behind them begins at `optind`.
///
/// read  called with an option's letter and the record to fill; the option's argument is `optarg`
template <class Options>
std::optional<Options> readOptions(int argc, char** argv, const option* known,
                                   bool (*read)(int letter, Options& options)) {
  Options options;
  for (int letter = 0; (letter = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
    if (!read(letter, options)) {
      return {};
    }
  }
  return options;
}

/// A program from its options on: the usage where there are none, or where they ask for it; otherwise
/// `run`, and what it throws as a message in the program's name.
///
/// returns what `main` returns
template <class Options>
int answer(const char* program, const std::optional<Options>& options,
           void (*printUsage)(std::FILE* out), void (*run)(const Options& options)) {
  if (!options) {
    printUsage(stderr);
    return 1;
  }
  if (options->help) {
    printUsage(stdout);
    return 0;
  }
  try {
    run(*options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", program, error.what());
    return 1;
  }
  return 0;
}
