#pragma once

#include <QString>
#include <QTemporaryDir>

#include <memory>

class Database;

// A MIB database that a test builds in a temporary folder and points the
// component at (the thread's shared connection is dropped first, so the next
// user opens this file). Rows are written straight through SQLite.
class FixtureDatabase
{
public:
    FixtureDatabase();
    ~FixtureDatabase();

    QString path() const { return m_path; }
    QString folder() const { return m_dir.path(); }
    Database &db();

    struct Object
    {
        QString oid;
        QString mib;
        QString name;
        QString typeS;
        int typeI = 0;
        int access = 0;
        int status = 0;
        QString enumName;
        QString description;
        QString units;
        QString parse;
        QString indexBy;
        bool primary = true;
    };
    // Adds one Tree row; ParentOID and Index are derived from the OID.
    void addObject(const Object &object);
    // Shorthand for a plain definition.
    void addObject(const QString &oid, const QString &mib, const QString &name, const QString &typeS = QString(),
                   const QString &enumName = QString());
    void addEnum(const QString &setName, int value, const QString &label);
    void addModule(const QString &name, const QString &description = QString());
    // An Icons row: the node's small picture as stored bytes.
    void addIcon(const QString &oid, const QByteArray &picture);

    // The usual registration tree from iso down to system and the interfaces table,
    // with ifAdminStatus's values and a few hinted objects.
    void addStandardObjects();

    // Makes the component use this file for the next open on this thread.
    void activate();

private:
    QTemporaryDir m_dir;
    QString m_path;
    std::unique_ptr<Database> m_db;
};
