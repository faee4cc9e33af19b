// The operator guide, whose tables stand in the library as well.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

inline void ExpectInGuide(const std::string& line) {
  static const std::string guide = [] {
    std::ifstream file(TESTS_FOLDER "/../docs/operator-guide.md");
    return std::string{std::istreambuf_iterator<char>(file), {}};
  }();
  EXPECT_NE(guide.find("\n" + line + "\n"), guide.npos) << "docs/operator-guide.md lacks this line:\n" << line;
}
