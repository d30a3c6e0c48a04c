#include "snmp/notificationmodel.h"

NotificationModel::NotificationModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    m_flushTimer.setSingleShot(true);
    m_flushTimer.setInterval(0);
    connect(&m_flushTimer, &QTimer::timeout, this, &NotificationModel::flush);
}

NotificationModel::~NotificationModel() = default;

int NotificationModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int NotificationModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString NotificationModel::bindingsText(const Notification &n)
{
    QStringList parts;
    parts.reserve(n.Bindings.size());
    for (const NotificationBinding &b : n.Bindings)
        parts.append(b.displayName() + QStringLiteral(" = ") + b.Rendered);
    return parts.join(QStringLiteral("; "));
}

QVariant NotificationModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_rows.size()))
        return QVariant();
    const Notification &n = m_rows[size_t(index.row())];
    if (role == Qt::ToolTipRole && index.column() == NotificationColumn)
        return n.NotificationOID;
    if (role != Qt::DisplayRole)
        return QVariant();
    switch (index.column()) {
    case ReceivedColumn:
        return n.Received.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    case SourceColumn:
        return n.SourceAddress.contains(QLatin1Char(':'))
            ? QStringLiteral("[%1]:%2").arg(n.SourceAddress).arg(n.SourcePort)
            : QStringLiteral("%1:%2").arg(n.SourceAddress).arg(n.SourcePort);
    case VersionColumn:
        return n.versionText() + (n.Inform ? QStringLiteral(" inform") : QString());
    case PrincipalColumn:
        return n.principal();
    case NotificationColumn:
        return n.NotificationName;
    case BindingsColumn:
        return bindingsText(n);
    default:
        return QVariant();
    }
}

QVariant NotificationModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    static const char *const captions[] = {"Received", "From", "Version", "Community/User", "Notification",
                                           "Bindings"};
    return section >= 0 && section < ColumnCount ? QString::fromLatin1(captions[section]) : QVariant();
}

void NotificationModel::add(const Notification &notification)
{
    m_pending.push_back(notification);
    if (!m_flushTimer.isActive())
        m_flushTimer.start();
}

void NotificationModel::flush()
{
    m_flushTimer.stop();
    if (m_pending.empty())
        return;
    // Of a burst larger than the cap only the newest rows would stay.
    size_t first = 0;
    if (m_maxRows > 0 && m_pending.size() > size_t(m_maxRows)) {
        first = m_pending.size() - size_t(m_maxRows);
        m_dropped += int(first);
    }
    const int count = int(m_pending.size() - first);
    beginInsertRows(QModelIndex(), 0, count - 1);
    for (size_t i = first; i < m_pending.size(); ++i)
        m_rows.push_front(std::move(m_pending[i]));
    endInsertRows();
    m_pending.clear();
    trim();
}

void NotificationModel::trim()
{
    if (m_maxRows <= 0 || m_rows.size() <= size_t(m_maxRows))
        return;
    const int excess = int(m_rows.size()) - m_maxRows;
    beginRemoveRows(QModelIndex(), m_maxRows, int(m_rows.size()) - 1);
    m_rows.resize(size_t(m_maxRows));
    endRemoveRows();
    m_dropped += excess;
}

void NotificationModel::clear()
{
    m_pending.clear();
    m_flushTimer.stop();
    beginResetModel();
    m_rows.clear();
    m_dropped = 0;
    endResetModel();
}

const Notification &NotificationModel::notification(int row) const
{
    return m_rows.at(size_t(row));
}

void NotificationModel::setMaxRows(int rows)
{
    m_maxRows = qMax(0, rows);
    flush();
    trim();
}

NotificationFilterModel::NotificationFilterModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{
}

void NotificationFilterModel::setFilters(const QString &agent, const QString &notification, const QString &text)
{
    m_agent = agent.trimmed();
    m_notification = notification.trimmed();
    m_text = text.trimmed();
    invalidateFilter();
}

bool NotificationFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &) const
{
    const auto *model = qobject_cast<const NotificationModel *>(sourceModel());
    if (model == nullptr)
        return true;
    const Notification &n = model->notification(sourceRow);
    if (!m_agent.isEmpty() && !n.SourceAddress.contains(m_agent, Qt::CaseInsensitive)
        && !n.AgentAddress.contains(m_agent, Qt::CaseInsensitive))
        return false;
    if (!m_notification.isEmpty() && !n.NotificationName.contains(m_notification, Qt::CaseInsensitive)
        && !n.NotificationOID.contains(m_notification))
        return false;
    return m_text.isEmpty() || n.line().contains(m_text, Qt::CaseInsensitive);
}
