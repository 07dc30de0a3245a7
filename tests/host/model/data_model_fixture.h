// A folder for data-model files that a test writes.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "orv/common/exceptions.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "thrown.h"

namespace data_model_test {

using namespace orv::framework;  // NOLINT: tests
using orv::common::COrvLogicError;
using orv::common::COrvRunTimeError;

/// The folder is searched by the meta-class manager, and is removed with the test so that files of one do not
/// meet another.
class DataModelTest : public testing::Test {
  protected:
    DataModelTest();
    ~DataModelTest() override;

    void Write(const std::string& file_name, const std::string& text) const;
    /// The text of the error, with file names relative to the folder; empty when the activation succeeds.
    std::string ActivationError(std::uint32_t model_id) const;

    const std::filesystem::path folder_;
};

using testing_aids::ThrownBy;

}  // namespace data_model_test
