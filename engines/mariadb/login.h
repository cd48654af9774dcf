#ifndef ORVEL_ENGINES_MARIADB_LOGIN_H
#define ORVEL_ENGINES_MARIADB_LOGIN_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "engines/mariadb/client.h"
#include "platform/ado/engine.h"

namespace orvel::engines::mariadb {

/// What the client library connects with. What is empty is left to it, which looks into the group [client] of its files.
struct Parameters {
    struct Host {
        std::string name;
        unsigned int port = 0; ///< 0: the port for all
    };

    std::vector<Host> hosts{{}}; ///< tried in this order; at least one, whose name may be empty
    std::string user;
    std::string password; ///< wiped when it goes
    std::string database;
    std::string socket;
    std::string initialStatement;
    std::vector<std::pair<mysql_option, std::string>> options;
    unsigned int port = 0;
    std::int32_t timeout = 0; ///< seconds, for all hosts together; 0 for no limit
    bool requiresTls = false;
    bool verifiesServer = false;
    bool allowsLocalFiles = false;

    Parameters() = default;
    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;
    Parameters(Parameters&&) = default;
    Parameters& operator=(Parameters&&) = delete;
    ~Parameters();
};

/// Keywords: Server (or host: names between commas, each with a port behind a colon if it has one of its own), Port, Database, User ID (UID, user), Password (PWD), Socket, InitStmt, Connect-Timeout, Charset
/// (utf8mb4), Local-Infile, Plugin-Dir, SSL, and the client library's SSL-CA, SSL-CAPath, SSL-Cert, SSL-Key, SSL-Cipher, SSL-CRL,
/// SSL-CRLPath, SSL-Verify-Server-Cert, TLS-Version.
/// @throws ComError  3001 for a keyword that is unknown or comes twice, and for a value that cannot be
Parameters parametersOf(const ado::Login& login);

} // namespace orvel::engines::mariadb

#endif
