#include "program/server_options.h"

#include <fstream>
#include <iostream>

#include "output/printable.h"

namespace orv::app {

namespace {

/// The first line of a file, as secrets are kept.
std::string ReadSecret(const std::string& path) {
    std::ifstream file(path);
    std::string secret;
    if (!std::getline(file, secret) || secret.empty())
        throw CLI::ValidationError(path, "cannot be read, or is empty");
    return secret;
}

}  // namespace

void AddServerOptions(CLI::App& command, bus::ServerAccess& access, bool required) {
    const auto file = CLI::ExistingFile;
    const std::string group = "Server of the agents";
    command
        .add_option(
            "--server", access.url,
            "Address of the NATS server over which agents are reached: nats://HOST:PORT, tls://HOST:PORT")
        ->envname("IPTVTEST_SERVER")
        ->required(required)
        ->check(CLI::Validator(
            [](std::string& url) {
                const bool is_known = url.starts_with("nats://") || url.starts_with("tls://");
                return is_known && url.find("//") + 2 < url.size()
                           ? std::string()
                           : "\"" + url +
                                 "\" is no address of a server; expected nats://HOST:PORT or tls://HOST:PORT";
            },
            "", "server"))
        ->type_name("URL")
        ->group(group);
    auto* user = command.add_option("--user", access.user, "Name of the user there")->group(group);
    command
        .add_option_function<std::string>(
            "--password-file", [&access](const std::string& path) { access.password = ReadSecret(path); },
            "File with the user's password")
        ->check(file)
        ->needs(user)
        ->type_name("FILE")
        ->group(group);
    command
        .add_option_function<std::string>(
            "--token-file", [&access](const std::string& path) { access.token = ReadSecret(path); },
            "File with a token, in place of a user")
        ->check(file)
        ->type_name("FILE")
        ->group(group);
    command.add_option("--creds", access.credentials_file, "File with a user's JWT and seed")
        ->check(file)
        ->type_name("FILE")
        ->group(group);
    auto* nkey =
        command.add_option("--nkey", access.nkey, "Public nkey, \"U...\"")->type_name("KEY")->group(group);
    auto* seed = command.add_option("--nkey-file", access.nkey_file, "File with the nkey's seed")
                     ->check(file)
                     ->needs(nkey)
                     ->type_name("FILE")
                     ->group(group);
    nkey->needs(seed);
    command.add_option("--ca", access.ca_file, "Certificates by which the server is known; asks for TLS")
        ->check(file)
        ->type_name("FILE")
        ->group(group);
    auto* certificate = command.add_option("--cert", access.certificate_file, "Our own certificate")
                            ->check(file)
                            ->type_name("FILE")
                            ->group(group);
    auto* key = command.add_option("--key", access.key_file, "Its key")
                    ->check(file)
                    ->needs(certificate)
                    ->type_name("FILE")
                    ->group(group);
    certificate->needs(key);
}

void WarnIfExposed(const bus::ServerAccess& access) {
    if (access.url.empty() || !access.is_exposed()) return;
    std::cerr << "Warning: without TLS and a proof of who one is, anybody in the network can run tests on "
                 "the agents "
                 "and read their results (docs/agents.md, Security).\n";
}

}  // namespace orv::app
