#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

// What MibCompiler asks of its worker process: the sources to compile, where
// to find their imports and where to write. It travels as JSON on the worker's stdin.
struct CompileRequest
{
    struct Source
    {
        QString module; // loaded by this name along the path
        QString file;   // the file as given, for its IMPORTS and for problems
    };

    QString outputDir;
    int errorLevel = 2;
    QDateTime compiled;
    QStringList path;       // folders searched for modules, in order
    QString givenFolder;    // the folder of links to the files given (first on the path)
    QList<Source> sources;
    int problemLimit = 500; // problems reported per source, more are counted

    QJsonObject toJson() const;
    static CompileRequest fromJson(const QJsonObject &object);
};
