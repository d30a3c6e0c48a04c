#include "snmp/settings.h"

#include "core/globals.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"

#include <QSettings>

#include <cmath>

QXMIB_REGISTER_CLASS(Settings, Settings)

namespace {

const QString kTimeout = QStringLiteral("SNMP Timeout");
const QString kRetries = QStringLiteral("SNMP Retries");
const QString kRequestSize = QStringLiteral("SNMP V2 Request Size");
const QString kDisableV2 = QStringLiteral("Disable SNMP V2");
const QString kIcmpData = QStringLiteral("ICMP Data");

constexpr short kDefaultTimeout = 1500;
constexpr short kDefaultRetries = 2;
constexpr short kDefaultRequestSize = 10;

// Every access opens the store afresh, so a value written by another
// Settings object or another process is seen at the next read.
class Store
{
public:
    Store()
        : m_settings(QSettings::IniFormat, QSettings::UserScope, Globals::applicationTitle(),
                     Globals::applicationTitle())
    {
        m_settings.beginGroup(QStringLiteral("Settings"));
    }
    QSettings *operator->() { return &m_settings; }

private:
    QSettings m_settings;
};

// Stored text as a 16-bit integer the way the classic runtime converts it:
// surrounding blanks allowed, fractions rounded half to even, anything else a
// type mismatch, out of range an overflow.
short toShort(const QString &name, const QVariant &stored)
{
    bool ok = false;
    const double number = stored.toString().trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(number))
        throw QXMibError(QXMibError::TypeMismatch,
                         QStringLiteral("Type mismatch: the stored value of \"%1\" is not a number").arg(name));
    const double rounded = std::nearbyint(number);
    if (rounded < -32768.0 || rounded > 32767.0)
        throw QXMibError(QXMibError::Overflow,
                         QStringLiteral("Overflow: the stored value of \"%1\" does not fit").arg(name));
    return static_cast<short>(rounded);
}

bool toBool(const QString &name, const QVariant &stored)
{
    const QString text = stored.toString().trimmed();
    if (text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok)
        throw QXMibError(QXMibError::TypeMismatch,
                         QStringLiteral("Type mismatch: the stored value of \"%1\" is not a Boolean").arg(name));
    return number != 0.0;
}

// Booleans are kept as the words True and False, as the classic runtime writes them.
QString toText(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    return value.toString();
}

short clamp(short value, short low, short high)
{
    return value < low ? low : (value > high ? high : value);
}

// Sets a cached field and saves it; a failed save leaves the field as it was.
template <typename T, typename Save>
void change(T &field, T value, Save save)
{
    const T old = field;
    field = value;
    try {
        save();
    } catch (...) {
        field = old;
        throw;
    }
}

} // namespace

class SettingsPrivate
{
public:
    short timeout = kDefaultTimeout;
    short retries = kDefaultRetries;
    short requestSize = kDefaultRequestSize;
    bool disableV2 = false;
};

Settings::Settings(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<SettingsPrivate>())
{
    Refresh();
}

Settings::~Settings() = default;

short Settings::SNMPTimeout() const
{
    return d->timeout;
}

void Settings::setSNMPTimeout(short value)
{
    letSNMPTimeout(value);
}

void Settings::letSNMPTimeout(short &value)
{
    value = clamp(value, 100, 5000);
    if (value == d->timeout)
        return;
    change(d->timeout, value, [&] { SaveOption(kTimeout, value); });
}

short Settings::SNMPRetries() const
{
    return d->retries;
}

void Settings::setSNMPRetries(short value)
{
    letSNMPRetries(value);
}

void Settings::letSNMPRetries(short &value)
{
    value = clamp(value, 1, 5);
    if (value == d->retries)
        return;
    change(d->retries, value, [&] { SaveOption(kRetries, value); });
}

short Settings::SNMPV2RequestSize() const
{
    return d->requestSize;
}

void Settings::setSNMPV2RequestSize(short value)
{
    letSNMPV2RequestSize(value);
}

void Settings::letSNMPV2RequestSize(short &value)
{
    value = clamp(value, 2, 30);
    if (value == d->requestSize)
        return;
    change(d->requestSize, value, [&] { SaveOption(kRequestSize, value); });
}

bool Settings::DisableSNMPV2() const
{
    return d->disableV2;
}

void Settings::setDisableSNMPV2(bool value)
{
    if (value == d->disableV2)
        return;
    change(d->disableV2, value, [&] { SaveOption(kDisableV2, value); });
}

QString Settings::ICMPData() const
{
    return RetrieveOption(kIcmpData, defaultICMPData()).toString();
}

void Settings::setICMPData(const QString &value)
{
    SaveOption(kIcmpData, value);
}

QVariant Settings::RetrieveOption(const QString &name, const QVariant &defaultValue) const
{
    Store store;
    const QVariant stored = store->value(name);
    return stored.isValid() ? stored : defaultValue;
}

void Settings::SaveOption(const QString &name, const QVariant &value)
{
    {
        Store store;
        store->setValue(name, toText(value));
        store->sync();
        if (store->status() != QSettings::NoError)
            throw QXMibError(QXMibError::PermissionDenied,
                             QStringLiteral("Permission denied: the settings cannot be saved in %1").arg(store->fileName()));
    }
    Q_EMIT Changed(name, value);
}

void Settings::Refresh()
{
    // Convert everything before touching the fields, so a bad value leaves the object as it was.
    short timeout, retries, requestSize;
    bool disableV2;
    try {
        timeout = toShort(kTimeout, RetrieveOption(kTimeout, kDefaultTimeout));
        retries = toShort(kRetries, RetrieveOption(kRetries, kDefaultRetries));
        requestSize = toShort(kRequestSize, RetrieveOption(kRequestSize, kDefaultRequestSize));
        disableV2 = toBool(kDisableV2, RetrieveOption(kDisableV2, false));
    } catch (const QXMibError &e) {
        throw QXMibError(e.number(), e.description() + QStringLiteral(" (in %1)").arg(Store()->fileName()));
    }
    d->timeout = timeout;
    d->retries = retries;
    d->requestSize = requestSize;
    d->disableV2 = disableV2;
}

QString Settings::defaultICMPData()
{
    return QStringLiteral("Tarnbrookeware ") + Globals::applicationTitle() + QStringLiteral(" version ")
        + Globals::versionText();
}
