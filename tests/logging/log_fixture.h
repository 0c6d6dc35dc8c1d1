#pragma once

#include "logging/log_files.h"
#include "logging/log_settings.h"
#include "logging/log_writer.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

namespace varnel {

// Collects the lines that pass.
class CollectingSink final : public zelkor_LogSink {
 public:
  struct Line {
    std::int32_t level;
    std::string facility;
    std::string text;
  };

  void OnLine(std::int32_t level, const char* facility, const char* text) override {
    const std::lock_guard lock(mutex_);
    lines.push_back({level, facility, text});
  }

  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const auto& line : lines) texts.push_back(line.text);
    return texts;
  }

  std::vector<Line> lines;

 private:
  std::mutex mutex_;
};

// The facility as it is when the module is loaded, with a sink of the test's own.
class LogTest : public testing::Test {
 protected:
  LogTest() { Reset(&sink); }
  ~LogTest() override { Reset(&DefaultLogSink()); }

  CollectingSink sink;

 private:
  static void Reset(zelkor_LogSink* sink) {
    CloseLogFiles();
    LogSettings& settings = GetLogSettings();
    settings.level = 7;
    settings.sizeLimit = 10 * 1'048'576;
    settings.highResolution = settings.userInLines = settings.traceMailslot = settings.sharedLog = false;
    settings.console = settings.processTagCode = 0;
    settings.processTag[0] = settings.detailListText[0] = '\0';
    settings.sink = sink;
    GetLogFiles() = LogFiles();
  }
};

}  // namespace varnel
