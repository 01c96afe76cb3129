// A behaviour context running the report a JSON form describes, for the
// tests of the report runtime and of the accessors over it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "runtime/context.h"
#include "runtime/report.h"

class ReportTest : public ::testing::Test {
 protected:
  explicit ReportTest(const nlohmann::json &report) : report_(report) {}
  void SetUp() override {
    context_ = vyr::createContext();
    vyr::ReportState state;
    std::string error;
    ASSERT_TRUE(vyr::reportFromJson(report_, &state, &error)) << error;
    ASSERT_TRUE(vyr::attachReport(context_, state));
  }
  void TearDown() override { vyr::freeContext(context_); }
  vyr::ReportState &state() const { return *vyr::attachedReport(context_); }

  LPBHVRCOM context_ = nullptr;

 private:
  const nlohmann::json &report_;
};
