// qxmib-compile-worker: the process in which MibCompiler runs libsmi, so that
// whatever libsmi does with a bad file (crash, endless loop, all the memory)
// happens here and not in the host. Reads one request (JSON) from stdin and
// writes its records (JSON, one a line) to stdout as it goes.
//
// Usage: qxmib-compile-worker [--memory-limit MB] < request

#include "smicompilation.h"

#include <QFile>
#include <QJsonDocument>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

void writeRecord(const QJsonObject &record)
{
    QByteArray line = QJsonDocument(record).toJson(QJsonDocument::Compact);
    line += '\n';
    // Unbuffered: a record written is a record the reader gets, even if we die next.
    const char *data = line.constData();
    qsizetype left = line.size();
    while (left > 0) {
        const ssize_t n = ::write(STDOUT_FILENO, data, size_t(left));
        if (n <= 0)
            return;
        data += n;
        left -= n;
    }
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--memory-limit") == 0 && i + 1 < argc) {
            const rlim_t bytes = rlim_t(std::strtoull(argv[++i], nullptr, 10)) << 20;
            if (bytes > 0) {
                const rlimit limit{bytes, bytes};
                setrlimit(RLIMIT_AS, &limit);
            }
        }
    }
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly)) {
        std::fputs("qxmib-compile-worker: cannot read the request\n", stderr);
        return 2;
    }
    QJsonParseError error;
    const QJsonDocument request = QJsonDocument::fromJson(in.readAll(), &error);
    if (!request.isObject()) {
        std::fprintf(stderr, "qxmib-compile-worker: bad request: %s\n", qPrintable(error.errorString()));
        return 2;
    }
    SmiCompilation compilation(writeRecord);
    compilation.run(CompileRequest::fromJson(request.object()));
    return 0;
}
