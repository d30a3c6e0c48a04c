#include "trees/widgets/oiddetails.h"

#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "core/widgets/styledtext.h"
#include "trees/widgets/detailslayout.h"

#include <QAction>
#include <QMenu>
#include <QTextCursor>
#include <QTextEdit>
#include <QVBoxLayout>

QXMIB_REGISTER_WIDGET(OIDDetails, OIDDetails)

class OIDDetailsPrivate
{
public:
    std::unique_ptr<QXMibOID> record;
    QString rawValue;
    QString parsedValue;
    QString title;
    // The composition that both boxes hold; AddMessage extends it until the next recompose.
    StyledText composed;
    QTextEdit *details = nullptr;
    QTextEdit *preload = nullptr;
    QMenu *popup = nullptr;
    QAction *copyPopup = nullptr;
    QAction *printPopup = nullptr;

    QXMibOID &ensureRecord()
    {
        if (!record)
            record = std::make_unique<QXMibOID>();
        return *record;
    }

    void show()
    {
        preload->setHtml(composed.toHtml());
        details->setHtml(composed.readableOn(details->palette().color(QPalette::Base)).toHtml());
    }
};

namespace {

QTextEdit *makeBox(QWidget *parent, const QString &name)
{
    auto *box = new QTextEdit(parent);
    box->setObjectName(name);
    box->setReadOnly(true);
    box->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    box->setLineWrapMode(QTextEdit::WidgetWidth);
    box->setTabStopDistance(box->fontMetrics().horizontalAdvance(QLatin1Char('x')) * 10);
    return box;
}

// Menu entries and right clicks are event handlers: nothing may escape them.
template <typename F>
void guarded(F &&f)
{
    try {
        f();
    } catch (const QXMibError &e) {
        MessageSink::show(e.description(), QString());
    } catch (const std::exception &e) {
        MessageSink::show(QString::fromLocal8Bit(e.what()), QString());
    }
}

} // namespace

OIDDetails::OIDDetails(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<OIDDetailsPrivate>())
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    d->details = makeBox(this, QStringLiteral("Details"));
    layout->addWidget(d->details);
    d->preload = makeBox(this, QStringLiteral("DetailsPreload"));
    d->preload->hide();

    d->popup = new QMenu(this);
    d->popup->setObjectName(QStringLiteral("Popup"));
    d->copyPopup = d->popup->addAction(tr("&Copy"));
    d->copyPopup->setObjectName(QStringLiteral("CopyPopup"));
    d->printPopup = d->popup->addAction(tr("&Print"));
    d->printPopup->setObjectName(QStringLiteral("PrintPopup"));
    connect(d->copyPopup, &QAction::triggered, this, [this] { guarded([this] { CopyToClipboard(); }); });
    connect(d->printPopup, &QAction::triggered, this, [this] { guarded([this] { PrintPopup_Click(); }); });

    d->details->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(d->details, &QWidget::customContextMenuRequested, this,
            [this](const QPoint &pos) { d->popup->popup(d->details->viewport()->mapToGlobal(pos)); });
}

OIDDetails::~OIDDetails() = default;

QString OIDDetails::OID() const
{
    return d->record ? d->record->OID() : QString();
}

void OIDDetails::setOID(const QString &oid)
{
    d->ensureRecord().setOID(oid);
    Refresh();
}

QString OIDDetails::RawValue() const
{
    return d->rawValue;
}

void OIDDetails::setRawValue(const QString &value)
{
    d->rawValue = value;
    Refresh();
}

QString OIDDetails::ParsedValue() const
{
    return d->parsedValue;
}

void OIDDetails::setParsedValue(const QString &value)
{
    d->parsedValue = value;
    Refresh();
}

QString OIDDetails::RTF() const
{
    return d->composed.toRtf();
}

QString OIDDetails::Title() const
{
    return d->title;
}

void OIDDetails::setTitle(const QString &title)
{
    d->title = title;
    Refresh();
}

void OIDDetails::Refresh()
{
    if (d->record)
        d->composed = DetailsLayout::controlLayout(*d->record, d->title, d->rawValue, d->parsedValue);
    else
        d->composed = DetailsLayout::controlLayout(DetailsLayout::Fields(), d->title, d->rawValue, d->parsedValue);
    d->show();
}

void OIDDetails::CopyToClipboard()
{
    const QTextCursor cursor = d->details->textCursor();
    DetailsLayout::copyToClipboard(d->composed, cursor.selectionStart(), cursor.selectionEnd());
}

void OIDDetails::PrintPopup_Click()
{
    DetailsLayout::print(RTF(), d->record ? d->record->FullName() : QString());
}

void OIDDetails::AddMessage(const QString &text, const QColor &colour, bool bold, int size, bool emphasis)
{
    d->composed.append(text, colour, bold, size, emphasis);
    d->show();
}

QXMibOID &OIDDetails::record()
{
    return d->ensureRecord();
}

const StyledText &OIDDetails::shownText() const
{
    return d->composed;
}
