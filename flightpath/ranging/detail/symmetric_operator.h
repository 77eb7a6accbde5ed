#pragma once

#include <span>

namespace flightpath {

/// A real symmetric positive semi-definite matrix C that is known by its products alone.
class SymmetricOperator {
 public:
  virtual ~SymmetricOperator() = default;

  virtual int order() const = 0;

  /// product := C v, both of `order` elements and apart.
  virtual void multiply(std::span<const double> v, std::span<double> product) = 0;

 protected:
  SymmetricOperator() = default;
  SymmetricOperator(const SymmetricOperator&) = default;
  SymmetricOperator& operator=(const SymmetricOperator&) = default;
};

}  // namespace flightpath
