#include "data_model_fixture.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace data_model_test {

namespace {

std::filesystem::path MakeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "data_model_XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder: " + pattern);
    return std::filesystem::canonical(pattern);
}

}  // namespace

DataModelTest::DataModelTest() : folder_(MakeFolder()) {
    CMetaClassManager::Instance().AddSearchFolder(folder_);
}

DataModelTest::~DataModelTest() {
    std::filesystem::remove_all(folder_);
}

void DataModelTest::Write(const std::string& file_name, const std::string& text) const {
    std::filesystem::create_directories((folder_ / file_name).parent_path());
    std::ofstream(folder_ / file_name) << text;
}

std::string DataModelTest::ActivationError(std::uint32_t model_id) const {
    std::string text;
    try {
        CMetaClassManager::Instance().ActivateDataModel(model_id);
    } catch (const COrvRunTimeError& error) {
        text = error.what();
    }
    const std::string prefix = folder_.string() + "/";
    for (std::size_t at; (at = text.find(prefix)) != std::string::npos;) text.erase(at, prefix.size());
    return text;
}

}  // namespace data_model_test
