// Carries the headers that the tests share, compiled once: see tests/CMakeLists.txt.
