// Every class of every model that comes with the program.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <set>

#include "data_model_fixture.h"

namespace data_model_test {

namespace {

/// Ids of the models whose files lie in the folder of the build, found without the reader that is tested.
std::set<std::uint32_t> FindShippedModels() {
    std::set<std::uint32_t> ids;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SHIPPED_MODELS)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream file(entry.path());
        bool found = false;
        for (std::string line; !found && std::getline(file, line);) {
            const std::string key = "datamodel: ";
            found = line.starts_with(key);
            if (found)
                ids.insert(static_cast<std::uint32_t>(std::stoul(line.substr(key.size()), nullptr, 0)));
        }
        EXPECT_TRUE(found) << entry.path();
    }
    return ids;
}

class ShippedModelsTest : public testing::Test {
  protected:
    ShippedModelsTest() {
        for (const std::uint32_t id : FindShippedModels()) {
            CMetaClassManager::Instance().ActivateDataModel(id);
            shipped_.insert(id);
        }
    }

    /// The test program's own classes left out.
    std::vector<const CMetaClass*> GetClasses() const {
        auto classes = CMetaClassManager::Instance().GetClasses();
        std::erase_if(classes, [this](const CMetaClass* meta_class) {
            return !shipped_.contains(meta_class->GetClassId().GetValue() & 0xff000000);
        });
        return classes;
    }

    std::set<std::uint32_t> shipped_;
};

TEST_F(ShippedModelsTest, AreTheHostsAndThePlugIns) {
    for (const std::uint32_t id :
         {0x00000000u, 0x01000000u, 0x04000000u, 0x19000000u, 0x1d000000u, 0x21000000u}) {
        EXPECT_TRUE(shipped_.contains(id)) << std::hex << id;
    }
    EXPECT_GT(GetClasses().size(), 60u);
}

std::string Describe(const CMetaClass& meta_class, const CPropertyMeta& property) {
    return meta_class.GetName() + "." + property.name;
}

TEST_F(ShippedModelsTest, DefaultsAreLegalAndReadBackFromTheirText) {
    for (const CMetaClass* meta_class : GetClasses()) {
        for (const CPropertyMeta* property : meta_class->GetProperties()) {
            SCOPED_TRACE(Describe(*meta_class, *property));
            EXPECT_NO_THROW(property->Check(property->default_value));
            const std::string text = property->Format(property->default_value);
            EXPECT_EQ(property->Parse(text), property->default_value) << text;
            EXPECT_EQ(meta_class->FindProperty(property->id), property);
            EXPECT_EQ(meta_class->FindProperty(property->name), property);
            EXPECT_EQ(meta_class->GetDefaults()[property->slot], property->default_value);
        }
    }
}

std::vector<std::string> MakeBadTexts(const CPropertyMeta& property) {
    const auto number = [](double value) { return std::to_string(static_cast<std::int64_t>(value)); };
    std::vector<std::string> texts;
    switch (property.type) {
        case PropertyType::String:
        case PropertyType::OutputFilePath:
            return {};  // any text will do
        case PropertyType::Bool:
            return {"yes", "2"};
        case PropertyType::Ipv4:
            return {"::1", "1.2.3", "nowhere"};
        case PropertyType::Ipv6:
            return {"192.0.2.1", "nowhere"};
        case PropertyType::Mac:
            return {"192.0.2.1", "00:00:00:00:00"};
        default:
            break;
    }
    texts = {"many", "1,5", "010", "99999999999999999999x"};
    if (property.type != PropertyType::Double) texts.insert(texts.end(), {"1.5", "18446744073709551616"});
    if (property.minimum) texts.push_back(number(*property.minimum - 1));
    if (property.maximum) texts.push_back(number(*property.maximum + 1));
    if (property.enumeration) {
        std::int64_t unused = 0;
        while (property.enumeration->FindName(unused)) ++unused;
        texts.push_back(std::to_string(unused));
        texts.push_back(property.enumeration->values.front().first + "x");
    }
    return texts;
}

TEST_F(ShippedModelsTest, BadTextsAreRefusedWithTheNameOfTheProperty) {
    int refused = 0;
    for (const CMetaClass* meta_class : GetClasses()) {
        for (const CPropertyMeta& property : meta_class->GetDefinition().own_properties) {
            for (const std::string& text : MakeBadTexts(property)) {
                const std::string error = ThrownBy<COrvRunTimeError>([&] { property.Parse(text); });
                EXPECT_TRUE(error.starts_with("property " + property.name + ": ") &&
                            error.find(text) != error.npos)
                    << Describe(*meta_class, property) << " = " << text << ": " << error;
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 100);
}

TEST_F(ShippedModelsTest, LimitsAndNamesOfEnumerationsAreAccepted) {
    for (const CMetaClass* meta_class : GetClasses()) {
        for (const CPropertyMeta& property : meta_class->GetDefinition().own_properties) {
            SCOPED_TRACE(Describe(*meta_class, property));
            if (property.enumeration) {
                for (const auto& [name, value] : property.enumeration->values) {
                    std::string lower = name;
                    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
                    EXPECT_EQ(property.Format(property.Parse(lower)), name);
                    EXPECT_EQ(property.Parse(std::to_string(value)), property.Parse(name));
                }
            }
            for (const auto& bound : {property.minimum, property.maximum}) {
                if (bound && *bound == static_cast<double>(static_cast<std::int64_t>(*bound))) {
                    EXPECT_NO_THROW(property.Parse(std::to_string(static_cast<std::int64_t>(*bound))));
                }
            }
        }
    }
}

TEST_F(ShippedModelsTest, EveryFactoryBelongsToADeclaredClass) {
    for (const orv::common::ClassId id : CMetaClass::GetClassesWithFactory()) {
        if (shipped_.contains(id.GetValue() & 0xff000000)) {
            EXPECT_NE(CMetaClassManager::Instance().GetClass(id), nullptr) << std::hex << id.GetValue();
        }
    }
}

}  // namespace

}  // namespace data_model_test
