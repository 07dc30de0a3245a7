// Random valid test files.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace testing_aids {

struct GeneratedObject {
    using Values = std::vector<std::pair<std::string, std::string>>;

    std::string class_name, name;
    Values values;
    std::vector<GeneratedObject> children = {};

    std::string* Find(const std::string& key);
    /// An empty text removes the property.
    void Set(const std::string& key, const std::string& text);
};

struct GeneratedFile {
    /// The same number makes the same file.
    explicit GeneratedFile(std::uint64_t number);

    std::string ToString();
    /// "<line>:<column>" of a property's value, or where there is none of the object; of the last ToString.
    std::string GetPlace(const GeneratedObject& object, const std::string& key) const;
    /// Objects of a class, and of the file's IP version for "Ip...".
    std::vector<GeneratedObject*> Find(const std::string& class_name);
    std::uint64_t Below(std::uint64_t limit) { return random_() % limit; }

    std::string type;
    bool testing = false;  ///< the environment
    bool ipv6 = false, wizard = false;
    int devices = 0;  ///< with set-top boxes, on each port
    std::vector<GeneratedObject> project, sequence;

  private:
    bool Chance(unsigned percent) { return Below(100) < percent; }
    std::string OneOf(const std::vector<std::string>& texts) { return texts[Below(texts.size())]; }
    std::string Ip(const char* behind) const { return (ipv6 ? "Ipv6" : "Ipv4") + std::string(behind); }
    void AddChannels();
    void AddSources();
    void AddViewers(int port);
    void AddWizard();
    GeneratedObject MakeDevice(const std::string& name, const std::string& port, std::size_t count, int key,
                               const std::vector<std::string>& stack);
    void AddSequence();
    void AddTest(std::vector<GeneratedObject>& commands);
    void Write(const std::vector<GeneratedObject>& objects, int indent, std::string& text);

    std::mt19937_64 random_;
    int channel_blocks_ = 0;
    bool dhcp_ = false;
    std::string simulation_;
    std::map<std::pair<const GeneratedObject*, std::string>, std::string> places_;
};

}  // namespace testing_aids
