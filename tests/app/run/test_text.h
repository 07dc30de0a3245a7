// Test files with chosen values.
#pragma once

#include <string>
#include <vector>

namespace testing_aids {

/// A small test; what is not set is the data model's default. The properties are lines "Name: value" of YAML.
struct TestText {
    std::string type = "ZAPPING";
    std::string environment = "REAL_WORLD";
    int seconds = 10;
    bool ipv6 = false;
    int ports = 1;                          ///< with set-top boxes
    int stbs = 4;                           ///< on each port, each in a VLAN of its own
    int channels = 8;                       ///< in one block, from number 1 on
    std::vector<std::string> groups = {};   ///< properties of their network block
    std::vector<std::string> test = {};     ///< properties of the start command
    std::vector<std::string> profile = {};  ///< of the viewing profile
    std::vector<std::string> block = {};    ///< of the STB blocks
    std::vector<std::string> network = {};  ///< of simulation, defaults
    std::vector<std::string> faults = {};   ///< of port "Viewers", each {kind: ...}
    std::string sequence = {};              ///< in place of the default one

    std::string ToString() const;
};

}  // namespace testing_aids
