#include "tav/platform/cube_file_check.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "tav/contracts/color_lookup_table.hpp"

namespace tav {
namespace {

[[noreturn]] void fail(std::size_t line, const std::string& problem) {
  throw LookupTableError("line " + std::to_string(line) + ": " + problem);
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

/// The whitespace-separated words of `line`.
std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> result;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && isSpace(line[i])) ++i;
    const std::size_t start = i;
    while (i < line.size() && !isSpace(line[i])) ++i;
    if (i > start) result.push_back(line.substr(start, i - start));
  }
  return result;
}

/// Upper-case letters, digits and "_", starting with a letter: the form of the format's keywords.
bool looksLikeKeyword(std::string_view word) {
  if (word.empty() || word.front() < 'A' || word.front() > 'Z') return false;
  for (char c : word) {
    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')) return false;
  }
  return true;
}

double finiteNumber(std::string_view word, std::size_t line) {
  double value = 0;
  const char* begin = word.data();
  const char* end = word.data() + word.size();
  if (!word.empty() && *begin == '+') ++begin;
  const auto [next, error] = std::from_chars(begin, end, value);
  if (error != std::errc() || next != end) fail(line, "\"" + std::string(word) + "\" is not a number");
  if (!std::isfinite(value)) fail(line, "\"" + std::string(word) + "\" is not a finite number");
  return value;
}

int declaredSize(const std::vector<std::string_view>& w, std::size_t line, int max) {
  if (w.size() != 2) fail(line, std::string(w[0]) + " takes one size");
  int size = 0;
  const auto [next, error] = std::from_chars(w[1].data(), w[1].data() + w[1].size(), size);
  if (error != std::errc() || next != w[1].data() + w[1].size() || size < 2 || size > max) {
    fail(line, std::string(w[0]) + " " + std::string(w[1]) + " is outside 2..." + std::to_string(max));
  }
  return size;
}

}  // namespace

CubeFileShape checkCubeFile(std::string_view text) {
  CubeFileShape shape;
  double domainMin[3] = {0, 0, 0};
  double domainMax[3] = {1, 1, 1};
  std::uint64_t entries = 0;
  std::size_t lineNumber = 0;
  std::size_t position = 0;
  while (position <= text.size()) {
    const std::size_t newline = text.find('\n', position);
    const std::string_view line =
        text.substr(position, newline == std::string_view::npos ? std::string_view::npos : newline - position);
    position = newline == std::string_view::npos ? text.size() + 1 : newline + 1;
    ++lineNumber;
    if (line.find('\0') != std::string_view::npos) fail(lineNumber, "holds a NUL byte: not a text file");
    const auto w = words(line);
    if (w.empty() || w[0].front() == '#') continue;
    const std::string_view keyword = w[0];
    if (keyword == "TITLE") {
      continue;
    } else if (keyword == "LUT_1D_SIZE") {
      shape.size1D = declaredSize(w, lineNumber, kMaxCubeSize1D);
    } else if (keyword == "LUT_3D_SIZE") {
      shape.size3D = declaredSize(w, lineNumber, kMaxCubeSize3D);
    } else if (keyword == "DOMAIN_MIN" || keyword == "DOMAIN_MAX") {
      if (w.size() != 4) fail(lineNumber, std::string(keyword) + " takes three numbers");
      double* target = keyword == "DOMAIN_MIN" ? domainMin : domainMax;
      for (int i = 0; i < 3; ++i) target[i] = finiteNumber(w[static_cast<std::size_t>(i) + 1], lineNumber);
    } else if (keyword == "LUT_1D_INPUT_RANGE" || keyword == "LUT_3D_INPUT_RANGE") {
      if (w.size() != 3) fail(lineNumber, std::string(keyword) + " takes two numbers");
      const double low = finiteNumber(w[1], lineNumber);
      const double high = finiteNumber(w[2], lineNumber);
      if (!(low < high)) fail(lineNumber, std::string(keyword) + " needs its minimum below its maximum");
    } else if (looksLikeKeyword(keyword)) {
      fail(lineNumber, "unknown keyword \"" + std::string(keyword.substr(0, 40)) + "\"");
    } else {
      if (w.size() != 3) fail(lineNumber, "expected three numbers, found " + std::to_string(w.size()));
      for (const auto& word : w) finiteNumber(word, lineNumber);
      ++entries;
    }
  }
  if (shape.size1D == 0 && shape.size3D == 0) throw LookupTableError("no LUT_1D_SIZE or LUT_3D_SIZE: not a .cube table");
  for (int i = 0; i < 3; ++i) {
    if (!(domainMin[i] < domainMax[i])) throw LookupTableError("DOMAIN_MIN must be below DOMAIN_MAX in every channel");
  }
  const auto side = static_cast<std::uint64_t>(shape.size3D);
  const std::uint64_t expected = static_cast<std::uint64_t>(shape.size1D) + side * side * side;
  if (entries != expected) {
    std::string declared = shape.size3D != 0 ? "LUT_3D_SIZE " + std::to_string(shape.size3D) : "";
    if (shape.size1D != 0) declared += (declared.empty() ? "" : " and ") + ("LUT_1D_SIZE " + std::to_string(shape.size1D));
    throw LookupTableError("expected " + std::to_string(expected) + " entries for " + declared + ", found " +
                           std::to_string(entries));
  }
  return shape;
}

}  // namespace tav
