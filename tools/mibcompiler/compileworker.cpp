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

#if defined(__SANITIZE_ADDRESS__)
#define QXMIB_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QXMIB_ADDRESS_SANITIZER 1
#endif
#endif

// AddressSanitizer takes terabytes of address space for its shadow memory: under a
// limit on address space such a build could not even start. And a signal from
// libsmi is what the worker is there for: it ends the worker as it would without
// the sanitizer, so that the compiler reports the crash as such.
#ifdef QXMIB_ADDRESS_SANITIZER
constexpr bool kAddressSanitizer = true;
extern "C" const char *__asan_default_options()
{
    return "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_abort=0";
}
#else
constexpr bool kAddressSanitizer = false;
#endif

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--memory-limit") == 0 && i + 1 < argc) {
            const rlim_t bytes = rlim_t(std::strtoull(argv[++i], nullptr, 10)) << 20;
            if (bytes > 0 && !kAddressSanitizer) {
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
