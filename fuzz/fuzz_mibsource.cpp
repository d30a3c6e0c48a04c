// Any text as a MIB source file, read by the compiler's front (MibSource), which
// every file given to qxmib compile meets in the caller's own process before
// libsmi sees it in the worker. The module name and the imports it finds must be
// names, and each import's line must lie within the text.

#include "mibsource.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {
QString inputFile;
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication app(*argc, *argv);
    static QTemporaryDir dir;
    inputFile = dir.filePath(QStringLiteral("INPUT-MIB.mib"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    QFile file(inputFile);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text) != text.size())
        std::abort();
    file.close();
    const MibSource source = MibSource::read(inputFile);
    static const QRegularExpression name(QStringLiteral("^[A-Za-z][A-Za-z0-9_-]*$"));
    const int lines = int(text.count('\n')) + 1;
    bool right = source.module().isEmpty() || name.match(source.module()).hasMatch();
    for (const MibSource::Import &import : source.imports())
        right = right && !source.module().isEmpty() && name.match(import.module).hasMatch() && import.line >= 1
            && import.line <= lines;
    if (!right) {
        std::fprintf(stderr, "module '%s' with %d imports\n", qPrintable(source.module()), int(source.imports().size()));
        std::abort();
    }
    return 0;
}
