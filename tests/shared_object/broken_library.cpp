// A library with every mistake that elf_properties.py looks for, most of them made by the flags that
// scripts/check-shared-object links it with.

#include <vector>

namespace wrong {

// A writable, executable section, and an address in the code that the loader has to fill in.
asm(".pushsection .wrong, \"awx\", @progbits\n"
    ".quad fftwf_wrong\n"
    ".popsection\n"
    ".text\n"
    ".quad fftwf_wrong\n");

/// Unique in the process: a static of a template.
template <class T>
struct Counter {
  static T value;
};
template <class T>
T Counter<T>::value = 0;

/// Exports a template of the standard library, weak.
void grow(std::vector<int>& values) { values.push_back(Counter<int>::value++); }

}  // namespace wrong

extern "C" void fftwf_wrong() {}
