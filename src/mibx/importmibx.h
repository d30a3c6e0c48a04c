#pragma once

#include "qxmibtreecore_export.h"

#include "mibx/mibxdocument.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <memory>

class ImportMIBXPrivate;

// Imports MIB-X files into the MIB database: one MIBs row per module, one Tree
// row per object definition, one Enums row per named number. Every row is
// written as soon as it is complete, so an import that stops part-way leaves
// what it wrote. Problems with single objects are reported through Error and
// the import goes on; the counters add up over every import made with the same
// object (create one object per file for per-file counts).
class QXMIBTREECORE_EXPORT ImportMIBX : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Errors READ Errors)
    Q_PROPERTY(int Warnings READ Warnings)
    Q_PROPERTY(int OIDCount READ OIDCount)
    Q_PROPERTY(int Duplicates READ Duplicates)
    Q_PROPERTY(QString ModuleName READ ModuleName)

public:
    // Opens the shared database connection when it is not open yet.
    Q_INVOKABLE explicit ImportMIBX(QObject *parent = nullptr);
    ~ImportMIBX() override;

    int Errors() const;
    // Always 0.
    int Warnings() const;
    // Object definitions with an OID that reached the database, new or duplicate.
    int OIDCount() const;
    // Object definitions that overwrote a Tree row of the same module and name
    // (spelled with the same case).
    int Duplicates() const;
    // Duplicates whose row held the very same definition already (a re-import
    // that changes nothing has as many as OIDCount).
    Q_INVOKABLE int Unchanged() const;
    // The module name of the last file that got as far as naming it.
    QString ModuleName() const;

    // True when the file loaded and carried the right version, whatever happened
    // to its objects afterwards. Database errors and date text that does not
    // convert throw QXMibError.
    Q_INVOKABLE bool ImportMIBXFile(const QString &FileName);
    // Writes one Enums row per child of EnumTree: label = element name, value = its text.
    Q_INVOKABLE void AddEnums(const QString &enumName, const MibxNode &EnumTree);
    // Turns a MIB-X OID text (numbers, name(number), iso/org/dod/internet,
    // descriptors known to the database) into dotted numbers appended to result.
    Q_INVOKABLE bool ConvertOID(const QString &oidText, QString &result);
    // The OID of the first Tree row with that descriptor, in any module: one
    // spelled with the same case first, else one that differs only in case.
    Q_INVOKABLE bool LookupOID(const QString &name, QString &oid);

    // Access and status codes of the Tree table for the clause texts.
    static int accessCode(const QString &access);
    static int statusCode(const QString &status);
    // Date text of COMPILED and LAST-UPDATED: ISO 8601, SMI's YYYYMMDDHHMMZ and
    // YYMMDDHHMMZ, RFC 2822 and the common US and European numeric forms.
    // Throws QXMibError(TypeMismatch) for text that does not convert.
    static QDateTime convertDate(const QString &text);

Q_SIGNALS:
    void Log(QString &message);
    void Error(QString &message);
    void OIDImported(QString &name, QString &oid, bool &duplicate);

private:
    void raiseError(const QString &message);
    void raiseLog(const QString &message);
    void importBody();
    void importObject(const MibxNode &element);
    void writeModule();

    std::unique_ptr<ImportMIBXPrivate> d;
};
