#include "bench/diffuse_channels.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>

namespace bench {
namespace {

using Random = std::mt19937_64;
using Complex = std::complex<double>;

struct Ray {
  double delay_s;  // behind the direct path
  Complex amplitude;
};

double uniform(Random& random) { return std::uniform_real_distribution<>(0.0, 1.0)(random); }

double exponential(Random& random, double mean) {
  return std::exponential_distribution<>(1.0 / mean)(random);
}

/// Mean power 1.
Complex normal(Random& random) {
  std::normal_distribution<> part(0.0, std::sqrt(0.5));
  const double re = part(random);
  return {re, part(random)};
}

Complex phase(Random& random) { return std::polar(1.0, 2.0 * std::numbers::pi * uniform(random)); }

template <class Delay>
std::vector<Ray> rays(int count, Random& random, Delay delay) {
  std::vector<Ray> all;
  for (int i = 0; i < count; ++i) {
    const double at = delay();
    all.push_back({at, normal(random) / std::sqrt(static_cast<double>(count))});
  }
  return all;
}

std::vector<Ray> clusters(double decay_s, Random& random) {
  std::vector<Ray> all;
  double power = 0.0;
  for (double start = 0.0; start < 6.0 * decay_s; start += exponential(random, decay_s)) {
    for (double t = exponential(random, decay_s / 10.0); t < 3.0 * decay_s;
         t += exponential(random, decay_s / 10.0)) {
      const double mean = std::exp(-start / decay_s - 3.0 * t / decay_s);
      power += mean;
      all.push_back({start + t, normal(random) * std::sqrt(mean)});
    }
  }
  for (Ray& ray : all) {
    ray.amplitude /= std::sqrt(power);
  }
  return all;
}

/// Of mean power 1.
std::vector<Ray> tail(const DiffuseScenario& s, Random& random) {
  const double T = s.decay_s;
  if (s.shape == "cluster") {
    return clusters(T, random);
  }
  if (s.shape == "box") {
    return rays(40, random, [&] { return 3.0 * T * uniform(random); });
  }
  if (s.shape == "late") {
    return rays(40, random, [&] { return 2.0 * T + exponential(random, 0.5 * T); });
  }
  if (s.shape == "five") {
    return rays(5, random, [&] { return exponential(random, T); });
  }
  if (s.shape == "two tails") {
    return rays(40, random, [&] { return exponential(random, uniform(random) < 0.9 ? T : 4 * T); });
  }
  if (s.shape == "hidden") {
    return {{0.3 / (s.tones * diffuseSpacing_Hz), phase(random)}};
  }
  return rays(40, random, [&] { return exponential(random, T); });
}

/// The rays behind the direct path, whose power is `direct`.
std::vector<Ray> behind(const DiffuseScenario& s, double& direct, Random& random) {
  if (s.shape == "clean" || s.shape == "sparse") {
    direct = 1.0;
    if (s.shape == "clean") {
      return {};
    }
    return {{70e-9, 0.7 * phase(random)}, {160e-9, 0.5 * phase(random)}};
  }
  const double K = std::pow(10.0, s.K_dB / 10.0);
  std::vector<Ray> all = tail(s, random);
  for (Ray& ray : all) {
    ray.amplitude /= std::sqrt(1.0 + K);
  }
  direct = K / (1.0 + K);
  return all;
}

std::vector<Complex> measure(const DiffuseScenario& s, double delay_s, Random& random) {
  double direct = 0.0;
  std::vector<Ray> all = behind(s, direct, random);
  all.push_back({0.0, std::sqrt(direct) * phase(random)});
  const double noise = std::pow(10.0, -s.snr_dB / 20.0);
  std::vector<Complex> samples;
  for (int k = 0; k < s.tones; ++k) {
    Complex sample = noise * normal(random);
    for (const Ray& ray : all) {
      const double turns = diffuseSpacing_Hz * k * (delay_s + ray.delay_s);
      sample += ray.amplitude * std::polar(1.0, -2.0 * std::numbers::pi * turns);
    }
    samples.push_back(sample);
  }
  return samples;
}

}  // namespace

DiffuseTrials draw(const DiffuseScenario& s, int count) {
  Random random(1);
  DiffuseTrials trials;
  for (int i = 0; i < count; ++i) {
    const double delay_s = 100e-9 + 300e-9 * uniform(random);
    const std::vector<Complex> row = measure(s, delay_s, random);
    trials.samples.insert(trials.samples.end(), row.begin(), row.end());
    trials.truths_ns.push_back(delay_s * 1e9);
  }
  return trials;
}

}  // namespace bench
