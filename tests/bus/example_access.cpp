#include "bus/example_access.h"

#include <fstream>
#include <sstream>

#include "orv/bus/names.h"

namespace testing_aids {

std::string example_configuration() {
    std::ostringstream text;
    text << std::ifstream(EXAMPLE_CONFIGURATION).rdbuf();
    const std::string example = text.str(), users = "users: [";
    const auto at = example.find(users) + users.size();
    return example.substr(0, at) + "{ user: observer, password: \"secret-of-observer\" }\n" +
           example.substr(at);
}

orv::bus::ServerAccess access_of(const NatsServer& server, const std::string& user) {
    orv::bus::ServerAccess access;
    access.url = server.url();
    access.user = user;
    access.password = "secret-of-" + user;
    access.inbox_prefix =
        user == "controller" ? orv::bus::kInboxPrefixOfControllers : orv::bus::inbox_prefix_of_agent(user);
    return access;
}

}  // namespace testing_aids
