#include "snmp/usmuser_p.h"

#include <QSet>

#include <cstdlib>
#include <cstring>

namespace Usm {

namespace {

struct Protocol
{
    const char *name;
    const oid *arcs;
    size_t length;
};

const Protocol *find(const Protocol *begin, const Protocol *end, const QString &name)
{
    const QString wanted = name.trimmed();
    for (const Protocol *p = begin; p != end; ++p) {
        if (wanted.compare(QLatin1String(p->name), Qt::CaseInsensitive) == 0)
            return p;
    }
    return nullptr;
}

// Entries that belong to some engine session; everything else in the table
// was made by net-snmp itself and is dropped when one of ours takes its place.
QSet<usmUser *> &ours()
{
    static QSet<usmUser *> entries;
    return entries;
}

oid *duplicate(const oid *arcs, size_t length)
{
    return snmp_duplicate_objid(arcs, length);
}

int keyError(const char *which, QString *error)
{
    *error = QStringLiteral("Error generating a key (Ku) from the supplied %1 pass phrase")
                 .arg(QLatin1String(which));
    return SNMPERR_GENERR;
}

} // namespace

std::recursive_mutex &libraryMutex()
{
    static std::recursive_mutex mutex;
    return mutex;
}

const oid *authProtocol(const QString &name, size_t *length)
{
    static const Protocol protocols[] = {
        {"MD5", usmHMACMD5AuthProtocol, OID_LENGTH(usmHMACMD5AuthProtocol)},
        {"SHA", usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)},
        {"SHA1", usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)},
        {"SHA-1", usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)},
        {"SHA-224", usmHMAC128SHA224AuthProtocol, OID_LENGTH(usmHMAC128SHA224AuthProtocol)},
        {"SHA-256", usmHMAC192SHA256AuthProtocol, OID_LENGTH(usmHMAC192SHA256AuthProtocol)},
        {"SHA-384", usmHMAC256SHA384AuthProtocol, OID_LENGTH(usmHMAC256SHA384AuthProtocol)},
        {"SHA-512", usmHMAC384SHA512AuthProtocol, OID_LENGTH(usmHMAC384SHA512AuthProtocol)},
    };
    const Protocol *p = find(std::begin(protocols), std::end(protocols), name);
    if (p != nullptr)
        *length = p->length;
    return p != nullptr ? p->arcs : nullptr;
}

const oid *privProtocol(const QString &name, size_t *length)
{
    static const Protocol protocols[] = {
#ifndef NETSNMP_DISABLE_DES
        {"DES", usmDESPrivProtocol, OID_LENGTH(usmDESPrivProtocol)},
#endif
        {"AES", usmAESPrivProtocol, OID_LENGTH(usmAESPrivProtocol)},
        {"AES-128", usmAESPrivProtocol, OID_LENGTH(usmAESPrivProtocol)},
#ifdef NETSNMP_DRAFT_BLUMENTHAL_AES_04
        {"AES-192", usmAES192PrivProtocol, OID_LENGTH(usmAES192PrivProtocol)},
        {"AES-256", usmAES256PrivProtocol, OID_LENGTH(usmAES256PrivProtocol)},
        {"AES-192-C", usmAES192CiscoPrivProtocol, OID_LENGTH(usmAES192CiscoPrivProtocol)},
        {"AES-256-C", usmAES256CiscoPrivProtocol, OID_LENGTH(usmAES256CiscoPrivProtocol)},
#endif
    };
    const Protocol *p = find(std::begin(protocols), std::end(protocols), name);
    if (p != nullptr)
        *length = p->length;
    return p != nullptr ? p->arcs : nullptr;
}

int check(const Credentials &c, QString *error)
{
    size_t length = 0;
    if (c.userName.isEmpty()) {
        *error = QString::fromLocal8Bit(snmp_api_errstring(SNMPERR_BAD_SEC_NAME));
        return SNMPERR_BAD_SEC_NAME;
    }
    if (c.level < 1 || c.level > 3) {
        *error = QString::fromLocal8Bit(snmp_api_errstring(SNMPERR_BAD_SEC_LEVEL));
        return SNMPERR_BAD_SEC_LEVEL;
    }
    if (c.level >= 2) {
        if (authProtocol(c.authProtocol, &length) == nullptr) {
            *error = QStringLiteral("Unknown authentication protocol: ") + c.authProtocol;
            return SNMPERR_UNSUPPORTED_SEC_LEVEL;
        }
        if (c.authPassword.toUtf8().size() < USM_LENGTH_P_MIN)
            return keyError("authentication", error);
    }
    if (c.level == 3) {
        if (privProtocol(c.privProtocol, &length) == nullptr) {
            *error = QStringLiteral("Unknown privacy protocol: ") + c.privProtocol;
            return SNMPERR_UNSUPPORTED_SEC_LEVEL;
        }
        if (c.privPassword.toUtf8().size() < USM_LENGTH_P_MIN)
            return keyError("privacy", error);
    }
    return SNMPERR_SUCCESS;
}

void ensureProbeUser()
{
    if (usm_get_user(nullptr, 0, "") != nullptr)
        return;
    usmUser *probe = usm_create_user();
    if (probe == nullptr)
        return;
    probe->name = strdup("");
    probe->secName = strdup("");
    probe->userStorageType = ST_READONLY;
    usm_add_user(probe);
}

User::~User()
{
    std::lock_guard<std::recursive_mutex> lock(libraryMutex());
    release();
}

void User::release()
{
    if (m_user == nullptr)
        return;
    if (usm_get_user(m_user->engineID, m_user->engineIDLen, m_user->name) == m_user)
        usm_remove_user(m_user);
    ours().remove(m_user);
    usm_free_user(m_user);
    m_user = nullptr;
}

int User::localize(const Credentials &c, const QByteArray &engineId, QString *error)
{
    const int status = check(c, error);
    if (status != SNMPERR_SUCCESS)
        return status;
    usmUser *user = usm_create_user();
    if (user == nullptr) {
        *error = QString::fromLocal8Bit(snmp_api_errstring(SNMPERR_MALLOC));
        return SNMPERR_MALLOC;
    }
    const QByteArray name = c.userName.toUtf8();
    user->engineID = static_cast<u_char *>(netsnmp_memdup(engineId.constData(), size_t(engineId.size())));
    user->engineIDLen = size_t(engineId.size());
    user->name = strdup(name.constData());
    user->secName = strdup(name.constData());
    user->userStorageType = ST_READONLY;

    // Keys are derived from the pass phrase with the authentication hash, then
    // localized for the engine id: the same steps net-snmp's tools take.
    auto derive = [&](const QString &phrase, u_char **key, size_t *keyLength) {
        const QByteArray bytes = phrase.toUtf8();
        u_char ku[USM_AUTH_KU_LEN];
        size_t kuLength = sizeof(ku);
        if (generate_Ku(user->authProtocol, u_int(user->authProtocolLen),
                        reinterpret_cast<const u_char *>(bytes.constData()), size_t(bytes.size()), ku, &kuLength)
            != SNMPERR_SUCCESS)
            return false;
        *key = static_cast<u_char *>(calloc(1, SNMP_MAXBUF_SMALL));
        *keyLength = SNMP_MAXBUF_SMALL;
        const bool ok = *key != nullptr
            && generate_kul(user->authProtocol, u_int(user->authProtocolLen), user->engineID, user->engineIDLen, ku,
                            kuLength, *key, keyLength)
                == SNMPERR_SUCCESS;
        memset(ku, 0, sizeof(ku));
        return ok;
    };
    size_t length = 0;
    if (c.level >= 2) {
        const oid *auth = authProtocol(c.authProtocol, &length);
        SNMP_FREE(user->authProtocol);
        user->authProtocol = duplicate(auth, length);
        user->authProtocolLen = length;
        if (!derive(c.authPassword, &user->authKey, &user->authKeyLen)) {
            usm_free_user(user);
            return keyError("authentication", error);
        }
    }
    if (c.level == 3) {
        const oid *priv = privProtocol(c.privProtocol, &length);
        SNMP_FREE(user->privProtocol);
        user->privProtocol = duplicate(priv, length);
        user->privProtocolLen = length;
        // Ciphers with longer keys than the hash gives extend the localized key.
        if (!derive(c.privPassword, &user->privKey, &user->privKeyLen)
            || usm_extend_user_kul(user, SNMP_MAXBUF_SMALL) != SNMPERR_SUCCESS) {
            usm_free_user(user);
            return keyError("privacy", error);
        }
    }

    std::lock_guard<std::recursive_mutex> lock(libraryMutex());
    release();
    m_user = user;
    ours().insert(user);
    return SNMPERR_SUCCESS;
}

void User::install()
{
    if (m_user == nullptr)
        return;
    usmUser *listed = usm_get_user(m_user->engineID, m_user->engineIDLen, m_user->name);
    if (listed == m_user)
        return;
    if (listed != nullptr) {
        usm_remove_user(listed);
        if (!ours().contains(listed))
            usm_free_user(listed);
    }
    usm_add_user(m_user);
}

} // namespace Usm
