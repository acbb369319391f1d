// Reads with KLDAP, entry by entry into its own objects.
// Usage: KLDAP URI BASE FILTER

#include "figures.h"

#include <KLDAP/LdapConnection>
#include <KLDAP/LdapObject>
#include <KLDAP/LdapOperation>
#include <KLDAP/LdapServer>
#include <KLDAP/LdapUrl>
#include <QCoreApplication>
#include <QUrl>
#include <cstdlib>
#include <iostream>

int main(int count, char** arguments)
{
    const QCoreApplication application(count, arguments);
    if (count != 4)
    {
        return EXIT_FAILURE;
    }
    const QUrl uri(QString::fromUtf8(arguments[1]));
    KLDAP::LdapServer server;
    server.setHost(uri.host());
    server.setPort(uri.port(389));
    server.setVersion(3);
    KLDAP::LdapConnection connection(server);
    KLDAP::LdapOperation operation(connection);
    if (connection.connect() != 0 || operation.bind_s() != 0)
    {
        std::cerr << "KLDAP: no connection to " << arguments[1] << std::endl;
        return EXIT_FAILURE;
    }

    const Start start = startReading();
    const int search = operation.search(KLDAP::LdapDN(QString::fromUtf8(arguments[2])), KLDAP::LdapUrl::Sub,
                                        QString::fromUtf8(arguments[3]), QStringList());
    std::size_t entries = 0;
    while (operation.waitForResult(search) == KLDAP::LdapOperation::RES_SEARCH_ENTRY)
    {
        const KLDAP::LdapObject entry = operation.object();
        entries += entry.attributes().isEmpty() ? 0 : 1;
    }
    printReading(start, entries);
    return entries > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
