#include "snmp/widgets/traplist.h"

#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "snmp/widgets/livegrid.h"
#include "snmp/notificationmodel.h"
#include "snmp/trapreceiver.h"
#include "trees/widgets/detailslayout.h"

#include <QContextMenuEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSaveFile>
#include <QSplitter>
#include <QTextEdit>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

QXMIB_REGISTER_WIDGET(TrapList, TrapList)

class TrapListPrivate
{
public:
    TrapReceiver *receiver = nullptr;
    NotificationModel *model = nullptr;
    NotificationFilterModel *filter = nullptr;
    QTreeView *view = nullptr;
    QTextEdit *details = nullptr;
    QLineEdit *agent = nullptr;
    QLineEdit *notification = nullptr;
    QLineEdit *text = nullptr;
    QLabel *counter = nullptr;
    QTimer counterTimer;
    StyledText shown;

    void showCurrent()
    {
        const QModelIndex current = view->currentIndex();
        if (!current.isValid()) {
            shown = StyledText();
            details->clear();
            return;
        }
        const QModelIndex source = filter->mapToSource(current);
        shown = DetailsLayout::notificationLayout(model->notification(source.row()));
        details->setHtml(shown.readableOn(details->palette().color(QPalette::Base)).toHtml());
    }

    void applyFilters()
    {
        filter->setFilters(agent->text(), notification->text(), text->text());
        updateCounter();
    }

    QString counterText() const
    {
        return QStringLiteral("%1 received, %2 shown, %3 rejected, %4 dropped")
            .arg(receiver->ReceivedCount())
            .arg(filter->rowCount())
            .arg(receiver->RejectedCount())
            .arg(model->droppedRows());
    }

    void updateCounter() { counter->setText(counterText()); }
};

TrapList::TrapList(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<TrapListPrivate>())
{
    d->receiver = new TrapReceiver(this);
    d->model = new NotificationModel(this);
    d->filter = new NotificationFilterModel(this);
    d->filter->setSourceModel(d->model);

    auto *fields = new QHBoxLayout;
    const auto field = [this, fields](const char *name, const QString &placeholder) {
        auto *edit = new QLineEdit(this);
        edit->setObjectName(QLatin1String(name));
        edit->setPlaceholderText(placeholder);
        edit->setClearButtonEnabled(true);
        fields->addWidget(edit);
        connect(edit, &QLineEdit::textChanged, this, [this] { d->applyFilters(); });
        return edit;
    };
    d->agent = field("filterAgent", tr("Agent"));
    d->notification = field("filterNotification", tr("Notification"));
    d->text = field("filterText", tr("Text"));
    d->counter = new QLabel(this);
    d->counter->setObjectName(QStringLiteral("counter"));
    fields->addWidget(d->counter);

    d->view = new QTreeView(this);
    d->view->setObjectName(QStringLiteral("notifications"));
    d->view->setModel(d->filter);
    d->view->setRootIsDecorated(false);
    d->view->setUniformRowHeights(true);
    d->view->setAlternatingRowColors(true);
    d->view->setSelectionBehavior(QAbstractItemView::SelectRows);
    d->view->header()->setStretchLastSection(true);
    d->details = new QTextEdit(this);
    d->details->setObjectName(QStringLiteral("details"));
    d->details->setReadOnly(true);

    auto *splitter = new QSplitter(Qt::Vertical, this);
    splitter->addWidget(d->view);
    splitter->addWidget(d->details);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 1);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(fields);
    layout->addWidget(splitter);

    connect(d->receiver, &TrapReceiver::Received, this, [this](const Notification &n) {
        d->model->add(n);
        Q_EMIT NotificationReceived(n);
    });
    connect(d->receiver, &TrapReceiver::Rejected, this, &TrapList::Rejected);
    // A burst updates the counter a few times a second, not once per notification.
    d->counterTimer.setSingleShot(true);
    d->counterTimer.setInterval(200);
    connect(&d->counterTimer, &QTimer::timeout, this, [this] { d->updateCounter(); });
    connect(d->receiver, &TrapReceiver::CountsChanged, this, [this] {
        if (!d->counterTimer.isActive())
            d->counterTimer.start();
    });
    connect(d->model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex &, int first, int last) {
        // The first rows set the column widths; later ones leave what the user chose.
        if (d->model->rowCount() == last - first + 1) {
            for (int column = 0; column < NotificationModel::BindingsColumn; ++column)
                d->view->resizeColumnToContents(column);
        }
        if (!d->view->currentIndex().isValid() && d->filter->rowCount() > 0)
            d->view->setCurrentIndex(d->filter->index(0, 0));
    });
    connect(d->view->selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this] { d->showCurrent(); });
    connect(d->filter, &QAbstractItemModel::modelReset, this, [this] { d->showCurrent(); });
    d->updateCounter();
}

TrapList::~TrapList() = default;

QString TrapList::Address() const
{
    return d->receiver->Address();
}

void TrapList::setAddress(const QString &address)
{
    d->receiver->setAddress(address);
}

int TrapList::Port() const
{
    return d->receiver->Port();
}

void TrapList::setPort(int port)
{
    d->receiver->setPort(port);
}

QStringList TrapList::Communities() const
{
    return d->receiver->Communities();
}

void TrapList::setCommunities(const QStringList &communities)
{
    d->receiver->setCommunities(communities);
}

bool TrapList::Listening() const
{
    return d->receiver->Listening();
}

int TrapList::MaxRows() const
{
    return d->model->maxRows();
}

void TrapList::setMaxRows(int rows)
{
    d->model->setMaxRows(rows);
    d->updateCounter();
}

int TrapList::Count() const
{
    d->model->flush();
    return d->model->rowCount();
}

int TrapList::ReceivedCount() const
{
    return d->receiver->ReceivedCount();
}

int TrapList::RejectedCount() const
{
    return d->receiver->RejectedCount();
}

int TrapList::DroppedRows() const
{
    d->model->flush();
    return d->model->droppedRows();
}

QString TrapList::FilterAgent() const
{
    return d->agent->text();
}

void TrapList::setFilterAgent(const QString &text)
{
    d->agent->setText(text);
}

QString TrapList::FilterNotification() const
{
    return d->notification->text();
}

void TrapList::setFilterNotification(const QString &text)
{
    d->notification->setText(text);
}

QString TrapList::FilterText() const
{
    return d->text->text();
}

void TrapList::setFilterText(const QString &text)
{
    d->text->setText(text);
}

QString TrapList::DetailsText() const
{
    return d->shown.toPlainText();
}

QString TrapList::CounterText() const
{
    d->model->flush();
    return d->counterText();
}

void TrapList::Listen()
{
    d->receiver->Listen();
}

void TrapList::Close()
{
    d->receiver->Close();
}

void TrapList::Clear()
{
    d->model->clear();
    d->receiver->ResetCounts();
    d->updateCounter();
}

void TrapList::AddUser(const QString &userName, int level, const QString &authProtocol, const QString &authPassword,
                       const QString &privProtocol, const QString &privPassword, const QStringList &engineIds)
{
    d->receiver->AddUser(userName, level, authProtocol, authPassword, privProtocol, privPassword, engineIds);
}

QString TrapList::TableText(bool CSV) const
{
    d->model->flush();
    return LiveGrid::modelText(d->filter, CSV);
}

bool TrapList::ExportCSV(const QString &Path) const
{
    QSaveFile file(Path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(TableText(true).toUtf8());
    return file.commit();
}

void TrapList::SelectRow(int row)
{
    d->model->flush();
    const QModelIndex index = d->filter->index(row, 0);
    if (index.isValid())
        d->view->setCurrentIndex(index);
}

TrapReceiver *TrapList::receiver() const
{
    return d->receiver;
}

NotificationModel *TrapList::model() const
{
    return d->model;
}

void TrapList::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu menu(this);
    menu.addAction(tr("Export CSV..."), this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, tr("Export CSV"), QString(), tr("CSV files (*.csv)"));
        if (!path.isEmpty() && !ExportCSV(path))
            MessageSink::show(tr("Cannot write ") + path);
    });
    menu.addAction(tr("Clear"), this, &TrapList::Clear);
    menu.exec(event->globalPos());
}
