#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QXMibOIDPrivate;

// One object identifier and its definition: give it an OID (with or without an
// instance suffix), a descriptor or MODULE:descriptor, and it finds the
// definition's Tree row and exposes its fields, the instance part, the status
// and access words, the enumeration texts and value rendering. Every view works
// through it; hosts create it as "QXMIBTree.OID".
//
// A look-up that finds nothing is not an error: the record is left cleared.
// Database failures throw QXMibError.
class QXMIBTREECORE_EXPORT QXMibOID : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString OID READ OID WRITE setOID)
    Q_PROPERTY(bool Skip READ Skip WRITE setSkip)
    Q_PROPERTY(QString Key READ Key WRITE setKey)
    Q_PROPERTY(QString ParentOID READ ParentOID WRITE setParentOID)
    Q_PROPERTY(QString IndexBy READ IndexBy WRITE setIndexBy)
    Q_PROPERTY(QString Calculation READ Calculation WRITE setCalculation)
    Q_PROPERTY(short Line READ Line WRITE setLine)
    Q_PROPERTY(QString Index READ Index WRITE setIndex)
    Q_PROPERTY(QString MIB READ MIB WRITE setMIB)
    Q_PROPERTY(QString FullName READ FullName WRITE setFullName)
    Q_PROPERTY(QString LongName READ LongName)
    Q_PROPERTY(QString Name READ Name WRITE setName)
    Q_PROPERTY(QString Description READ Description WRITE setDescription)
    Q_PROPERTY(int Status READ Status)
    Q_PROPERTY(QString StatusString READ StatusString)
    Q_PROPERTY(int Access READ Access)
    Q_PROPERTY(QString AccessString READ AccessString)
    Q_PROPERTY(int TypeInteger READ TypeInteger)
    Q_PROPERTY(QString TypeString READ TypeString)
    Q_PROPERTY(QString Enumerated READ Enumerated)
    Q_PROPERTY(QString Parse READ Parse WRITE setParse)
    Q_PROPERTY(QString Units READ Units WRITE setUnits)
    Q_PROPERTY(QString BaseName READ BaseName)
    Q_PROPERTY(QString BaseOID READ BaseOID)

public:
    // Opens the shared database connection when the thread has none yet.
    Q_INVOKABLE explicit QXMibOID(QObject *parent = nullptr);
    ~QXMibOID() override;

    QString OID() const;
    // Resolves an OID: arcs are stripped from the right until a primary definition matches.
    void setOID(const QString &oid);
    // Opens the shared details form for this OID with empty raw and parsed values.
    Q_INVOKABLE void ShowOIDDetails();
    bool Skip() const;
    void setSkip(bool skip);
    QString Key() const;
    void setKey(const QString &key);
    QString ParentOID() const;
    void setParentOID(const QString &parentOid);
    QString IndexBy() const;
    void setIndexBy(const QString &indexBy);
    QString Calculation() const;
    void setCalculation(const QString &calculation);
    short Line() const;
    void setLine(short line);
    // The instance suffix without its leading dot.
    QString Index() const;
    void setIndex(const QString &index);
    QString MIB() const;
    void setMIB(const QString &mib);
    QString FullName() const;
    // Resolves "1.2."/"1.3." text as an OID, MODULE:descriptor, or a primary descriptor.
    void setFullName(const QString &fullName);
    // The OID written with names, one look-up per arc.
    QString LongName() const;
    QString Name() const;
    // Resolves a descriptor (no instance splitting).
    void setName(const QString &name);
    QString Description() const;
    void setDescription(const QString &description);
    int Status() const;
    QString StatusString() const;
    int Access() const;
    QString AccessString() const;
    int TypeInteger() const;
    QString TypeString() const;
    QString Enumerated() const;
    QString Parse() const;
    // Stores the hint and writes the record back at once.
    void setParse(const QString &parse);
    QString Units() const;
    // Stores the units and writes the record back at once.
    void setUnits(const QString &units);
    QString BaseName() const;
    QString BaseOID() const;

    // Renders a raw value by this object's enumeration, hint or type. The hex text
    // is taken by reference: the rate-set rendering consumes it.
    QString ParseValue(const QString &value, QString &hexValue);
    Q_INVOKABLE QString ParseValue(const QString &value, const QString &hexValue = QString());
    // Empties the looked-up fields; base OID, parent OID, index, calculation and the caller's fields stay.
    Q_INVOKABLE void Clear();
    // Writes the record to Tree under its full OID, adding a primary row when there is none.
    Q_INVOKABLE void Sync();
    // The number after the last "."; 0 when it does not parse.
    Q_INVOKABLE int OIDIndex(const QString &oid) const;
    Q_INVOKABLE QString EnumString(int value) const;
    Q_INVOKABLE QString EnumName(int value, const QString &defaultText = QString()) const;
    Q_INVOKABLE QString EnumWords(int value, const QString &defaultText = QString()) const;
    // "#1;up(1)|#2;down(2)|..." for the grids' pick lists; empty when not enumerated.
    Q_INVOKABLE QString EnumList() const;

    // Who opens the details form; the details subsystem installs itself here.
    using DetailsHandler = std::function<void(const QString &oid)>;
    static void setShowDetailsHandler(DetailsHandler handler);

private:
    std::unique_ptr<QXMibOIDPrivate> d;
};
