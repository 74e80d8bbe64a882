#include "history_commands.hpp"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iostream>
#include <memory>
#include <numeric>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "exit_status.hpp"
#include "input.hpp"
#include "tav/history/stream_history_migrator.hpp"

namespace tav::tool {
namespace {

using Entry = StreamHistoryEntry;

/// The entry in FILE, refused (with the status set) when it does not read or comes from a newer
/// schema than this version knows.
std::optional<Entry> readEntry(const std::string& file, int& status) {
  auto input = readInput(file);
  if (!input) {
    status = kNoInput;
    return std::nullopt;
  }
  try {
    Entry entry = decodeJson<Entry>(input->text);
    if (entry.schemaVersion > Entry::currentSchemaVersion) {
      std::cerr << "tavo: " << input->displayName << ": schemaVersion: " << entry.schemaVersion
                << " is newer than this version reads (" << Entry::currentSchemaVersion << ")\n";
      status = kDataError;
      return std::nullopt;
    }
    return StreamHistoryMigrator::migrate(std::move(entry));
  } catch (const DecodingError& error) {
    std::cerr << "tavo: " << input->displayName << ": " << error.what() << '\n';
    status = kDataError;
    return std::nullopt;
  }
}

std::string utcText(const Date& date) {
  const auto seconds = static_cast<std::time_t>(std::floor(date.timeIntervalSince1970()));
  std::tm tm{};
  gmtime_r(&seconds, &tm);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &tm);
  return text;
}

std::string durationText(double seconds) {
  const auto total = static_cast<long long>(std::llround(std::max(0.0, seconds)));
  return fmt::format("{}h {:02}m {:02}s", total / 3600, total / 60 % 60, total % 60);
}

/// The most viewers at one moment across every destination: the largest sum of a viewer sample's
/// counts, else the destinations' own peaks added up.
std::optional<std::int64_t> peakViewers(const Entry& entry) {
  std::optional<std::int64_t> peak;
  for (const auto& sample : entry.viewerSamples) {
    std::int64_t sum = 0;
    for (const auto& [platform, count] : sample.counts) sum += count;
    peak = std::max(peak.value_or(sum), sum);
  }
  if (peak) return peak;
  for (const auto& destination : entry.destinations) {
    if (destination.peakViewers) peak = peak.value_or(0) + *destination.peakViewers;
  }
  return peak;
}

std::string lastEvent(const Entry::Destination& destination) {
  if (destination.connectionEvents.empty()) return "no connection events";
  return "last event " + std::string(rawValue(destination.connectionEvents.back().kind));
}

void show(const std::string& file, int& status) {
  auto entry = readEntry(file, status);
  if (!entry) return;
  std::cout << "title: " << entry->title << (entry->category ? " (" + *entry->category + ")" : "") << '\n';
  std::cout << "started: " << utcText(entry->dateStarted) << '\n';
  std::cout << "duration: " << durationText(entry->dateEnded.timeIntervalSince(entry->dateStarted)) << '\n';
  std::cout << "destinations: " << entry->destinations.size() << '\n';
  for (const auto& destination : entry->destinations) {
    std::cout << "  " << rawValue(destination.platform) << " " << destination.displayName << " ("
              << destination.accountID << ")";
    if (destination.peakViewers) std::cout << ", peak " << *destination.peakViewers << " viewers";
    std::cout << ", " << lastEvent(destination) << '\n';
  }
  if (entry->endedWithEveryDestinationFailed()) std::cout << "every destination ended failed\n";
  if (auto peak = peakViewers(*entry)) {
    std::cout << "peak viewers: " << *peak << '\n';
  } else {
    std::cout << "peak viewers: not recorded\n";
  }
  if (entry->chatRateSamples.empty()) {
    std::cout << "chat rate: not recorded\n";
  } else {
    const auto& samples = entry->chatRateSamples;
    const double total = std::accumulate(samples.begin(), samples.end(), 0.0,
                                         [](double sum, const auto& s) { return sum + static_cast<double>(s.messagesPerMin); });
    const auto busiest = std::max_element(samples.begin(), samples.end(),
                                          [](const auto& a, const auto& b) { return a.messagesPerMin < b.messagesPerMin; });
    std::cout << fmt::format("chat rate: {:.1f} messages a minute on average, {} at most\n",
                             total / static_cast<double>(samples.size()), busiest->messagesPerMin);
  }
  std::cout << "moments: " << entry->moments.size() << '\n';
  status = kSuccess;
}

void migrate(const std::string& file, int& status) {
  auto entry = readEntry(file, status);
  if (!entry) return;
  std::cout << encodeJson(*entry) << '\n';
  status = kSuccess;
}

}  // namespace

void addHistoryCommands(CLI::App& app, int& status) {
  auto file = std::make_shared<std::string>();
  auto* history = app.add_subcommand("history", "Records of past streams");
  history->require_subcommand(1);

  auto* showCommand = history->add_subcommand("show", "Summarise a stream's record for people");
  showCommand->add_option("FILE", *file, "The record's JSON file (- for standard input)")->required();
  showCommand->callback([file, &status] { show(*file, status); });

  auto* migrateCommand =
      history->add_subcommand("migrate", "Read a record of any older schema and write it in the current one as JSON");
  migrateCommand->add_option("FILE", *file, "The record's JSON file (- for standard input)")->required();
  migrateCommand->callback([file, &status] { migrate(*file, status); });
}

}  // namespace tav::tool
