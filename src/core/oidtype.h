#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>

// One type definition of the Types table: its name and root type (upper case)
// and its numeric code (the SNMP BER tag of its base type).
class QXMIBTREECORE_EXPORT OIDType : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString OIDType READ oidType WRITE setOIDType)
    Q_PROPERTY(QString RootType READ RootType WRITE setRootType)
    Q_PROPERTY(short Value READ Value WRITE setValue)

public:
    Q_INVOKABLE explicit OIDType(QObject *parent = nullptr);

    QString oidType() const { return m_type; }
    void setOIDType(const QString &type) { m_type = type; }
    QString RootType() const { return m_root; }
    void setRootType(const QString &root) { m_root = root; }
    short Value() const { return m_value; }
    void setValue(short value) { m_value = value; }

private:
    QString m_type;
    QString m_root;
    short m_value = 0;
};
