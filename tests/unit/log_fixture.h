#pragma once

#include "logging/log_files.h"
#include "logging/log_settings.h"
#include "logging/log_writer.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

namespace varnel {

// The facility as it is when the module is loaded, with a sink that collects the lines that pass.
class LogTest : public testing::Test, public zelkor_LogSink {
 protected:
  LogTest() { Reset(this); }
  ~LogTest() override { Reset(&g_defaultLogSink); }

  void OnLine(std::int32_t level, const char* facility, const char* text) override {
    const std::lock_guard lock(mutex_);
    lines.push_back(std::to_string(level) + " " + facility + ": " + text);
  }

  std::vector<std::string> lines;
  LogSettings& settings = GetLogSettings();

 private:
  static void Reset(zelkor_LogSink* sink) {
    CloseLogFiles();
    LogSettings& settings = GetLogSettings();
    SetLogLevel(7);
    SetLogSize(10);
    SetProcessTag(L"");
    settings.highResolution = settings.userInLines = settings.traceMailslot = settings.sharedLog = false;
    settings.console = 0;
    settings.sink = sink;
    GetLogFiles().main.mutexWait = LogFileSlot().mutexWait;
  }

  std::mutex mutex_;
};

}  // namespace varnel
