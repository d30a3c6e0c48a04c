// Raw values of any content rendered by every selector the rendering knows, by
// a hint in lower case, by units, by an enumeration and by an unknown type.
// Rendering may fail only with the runtime's overflow and invalid-call errors;
// only the rate-set rendering consumes the hex text.
//
// Input: byte 0 picks the object, byte 1 holds flags (1: the value is UTF-16,
// 2: the hex text is UTF-8), byte 2 the value's length in bytes; the value
// follows, and the rest is the hex text (Latin-1 unless flagged).

#include "fuzzsupport.h"

#include "core/qxmiboid.h"

#include <memory>
#include <vector>

namespace {

std::vector<std::unique_ptr<QXMibOID>> objects;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    FixtureDatabase &scratch = fuzzSetUp(argc, argv);
    const char *const selectors[] = {"TRUTHVALUE", "MBPS", "KBYTES", "PHYSADDRESS", "MACADDRESS", "OBJECT",
                                     "OBJECT-IDENTIFIER", "TIMESPAN", "TIMETICKS", "SERVICES", "CISCONETWORKADDRESS",
                                     "INETADDRESS", "IPADDRESSLIST", "CISCO%LOAD", "WIRELESSRATESET", "DATEANDTIME",
                                     "OCTET", "DisplayString", ""};
    QStringList oids;
    int arc = 0;
    for (const char *selector : selectors) {
        FixtureDatabase::Object o;
        o.oid = QStringLiteral("1.3.6.1.4.1.99.%1").arg(++arc);
        o.mib = QStringLiteral("FUZZ-MIB");
        o.name = QStringLiteral("byType%1").arg(arc);
        o.typeS = QLatin1String(selector);
        scratch.addObject(o);
        oids.append(o.oid);
    }
    FixtureDatabase::Object hinted;
    hinted.oid = QStringLiteral("1.3.6.1.4.1.99.%1").arg(++arc);
    hinted.mib = QStringLiteral("FUZZ-MIB");
    hinted.name = QStringLiteral("hinted");
    hinted.typeS = QStringLiteral("INTEGER");
    hinted.parse = QStringLiteral("wirelessRateSet");
    scratch.addObject(hinted);
    oids << hinted.oid
         << QStringLiteral("1.3.6.1.2.1.2.2.1.4")  // units "octets, see the note"
         << QStringLiteral("1.3.6.1.2.1.2.2.1.7")  // enumerated
         << QStringLiteral("1.3.6.1.2.1.1.7");     // hint SERVICES
    for (const QString &oid : std::as_const(oids)) {
        objects.push_back(std::make_unique<QXMibOID>());
        objects.back()->setOID(oid);
        if (objects.back()->Name().isEmpty())
            std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 3)
        return 0;
    QXMibOID &object = *objects.at(data[0] % objects.size());
    const uint8_t flags = data[1];
    const size_t valueSize = qMin<size_t>(data[2], size - 3);
    const char *valueBytes = reinterpret_cast<const char *>(data + 3);
    const char *hexBytes = valueBytes + valueSize;
    const qsizetype hexSize = qsizetype(size - 3 - valueSize);

    const QString value = (flags & 1) ? QString(reinterpret_cast<const QChar *>(valueBytes), qsizetype(valueSize / 2))
                                      : QString::fromLatin1(valueBytes, qsizetype(valueSize));
    const QString hexGiven = (flags & 2) ? QString::fromUtf8(hexBytes, hexSize) : QString::fromLatin1(hexBytes, hexSize);
    QString hex = hexGiven;
    try {
        (void)object.ParseValue(value, hex).size();
    } catch (const QXMibError &e) {
        if (e.number() != QXMibError::Overflow && e.number() != QXMibError::InvalidCall)
            fuzzUnexpected(e, "ParseValue");
        return 0;
    }
    const bool consumes = object.Enumerated().isEmpty()
        && (object.Parse().isEmpty() ? object.TypeString() : object.Parse()).toUpper() == QLatin1String("WIRELESSRATESET");
    if (hex != (consumes ? QString() : hexGiven)) {
        std::fprintf(stderr, "hex text changed by %s\n", qPrintable(object.Name()));
        std::abort();
    }
    return 0;
}
