#pragma once

// What every fuzz target sets up once: an application object, message boxes
// that end the run (none may appear), and a scratch MIB database holding the
// usual registration tree, which the component's shared connection opens.

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/qxmiberror.h"
#include "fixturedatabase.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

inline FixtureDatabase &fuzzSetUp(int *argc, char ***argv)
{
    static QCoreApplication app(*argc, *argv);
    MessageSink::setHandler([](const QString &text, const QString &) {
        std::fprintf(stderr, "unexpected message box: %s\n", qPrintable(text));
        std::abort();
    });
    static FixtureDatabase scratch;
    scratch.addStandardObjects();
    scratch.activate();
    // Inputs write rows by the thousand; a crash of the fuzzer loses nothing worth a sync.
    Globals::database()->executeScript(QStringLiteral("PRAGMA synchronous=OFF"));
    return scratch;
}

// Ends the run on a runtime error the call must not raise.
inline void fuzzUnexpected(const QXMibError &e, const char *where)
{
    std::fprintf(stderr, "%s: unexpected error %d: %s\n", where, e.number(), qPrintable(e.description()));
    std::abort();
}
