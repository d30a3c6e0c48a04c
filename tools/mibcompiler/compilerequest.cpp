#include "compilerequest.h"

#include <QJsonArray>

QJsonObject CompileRequest::toJson() const
{
    QJsonArray list;
    for (const Source &s : sources)
        list.append(QJsonObject{{QStringLiteral("module"), s.module}, {QStringLiteral("file"), s.file}});
    return QJsonObject{{QStringLiteral("output"), outputDir},
                       {QStringLiteral("level"), errorLevel},
                       {QStringLiteral("compiled"), compiled.toString(Qt::ISODateWithMs)},
                       {QStringLiteral("path"), QJsonArray::fromStringList(path)},
                       {QStringLiteral("given"), givenFolder},
                       {QStringLiteral("sources"), list},
                       {QStringLiteral("problemLimit"), problemLimit}};
}

CompileRequest CompileRequest::fromJson(const QJsonObject &object)
{
    CompileRequest r;
    r.outputDir = object.value(QStringLiteral("output")).toString();
    r.errorLevel = object.value(QStringLiteral("level")).toInt(2);
    r.compiled = QDateTime::fromString(object.value(QStringLiteral("compiled")).toString(), Qt::ISODateWithMs);
    for (const QJsonValue &v : object.value(QStringLiteral("path")).toArray())
        r.path.append(v.toString());
    r.givenFolder = object.value(QStringLiteral("given")).toString();
    for (const QJsonValue &v : object.value(QStringLiteral("sources")).toArray()) {
        const QJsonObject s = v.toObject();
        r.sources.append({s.value(QStringLiteral("module")).toString(), s.value(QStringLiteral("file")).toString()});
    }
    r.problemLimit = object.value(QStringLiteral("problemLimit")).toInt(500);
    return r;
}
