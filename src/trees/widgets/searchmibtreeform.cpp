#include "trees/widgets/searchmibtreeform.h"

#include "core/globals.h"
#include "core/messagesink.h"
#include "core/qxmiberror.h"
#include "core/recordset.h"
#include "trees/widgets/mibtreecommon.h"
#include "trees/widgets/oiddetails.h"

#include <QApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QSplitter>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

const QString head = QStringLiteral("Select top 500 MIB,Name,OID From Tree Where ");
const QString tail = QStringLiteral(" Order By MIB,Name");
constexpr int maxResults = 500;

QLineEdit *addField(QWidget *tab, QVBoxLayout *layout, const char *labelName, const QString &caption,
                    const char *editName, const QString &text)
{
    auto *label = new QLabel(caption, tab);
    label->setObjectName(QLatin1String(labelName));
    auto *edit = new QLineEdit(text, tab);
    edit->setObjectName(QLatin1String(editName));
    label->setBuddy(edit);
    layout->addWidget(label);
    layout->addWidget(edit);
    return edit;
}

QPushButton *addButton(QWidget *parent, const char *name, const QString &caption)
{
    auto *button = new QPushButton(caption, parent);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(false);
    return button;
}

// Draws a result line's MIB, name and OID in aligned columns; the line's text stays as it is.
class ResultLineDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QStringList fields = index.data().toString().split(QLatin1Char('\t'));
        if (fields.size() < 2) {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        QStyleOptionViewItem blank = option;
        initStyleOption(&blank, index);
        blank.text.clear();
        const QWidget *widget = option.widget;
        QStyle *style = widget != nullptr ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &blank, painter, widget);
        const int unit = option.fontMetrics.averageCharWidth();
        const int starts[] = {0, 16 * unit, 42 * unit};
        painter->save();
        painter->setPen(option.palette.color(option.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text));
        for (int i = 0; i < fields.size() && i < 3; ++i) {
            QRect cell = option.rect.adjusted(4 + starts[i], 0, 0, 0);
            if (i < 2 && fields.size() > i + 1)
                cell.setWidth(starts[i + 1] - starts[i] - unit);
            painter->drawText(cell, Qt::AlignVCenter | Qt::AlignLeft,
                              option.fontMetrics.elidedText(fields.at(i), Qt::ElideRight, cell.width()));
        }
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        const QString text = index.data().toString();
        const qsizetype tab = text.lastIndexOf(QLatin1Char('\t'));
        if (tab >= 0)
            size.setWidth(8 + 42 * option.fontMetrics.averageCharWidth() + option.fontMetrics.horizontalAdvance(text.mid(tab + 1)));
        return size;
    }
};

void guarded(const std::function<void()> &work)
{
    try {
        work();
    } catch (const QXMibError &e) {
        MessageSink::show(e.description(), QString());
    }
}

} // namespace

SearchMIBTreeForm::SearchMIBTreeForm(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("SearchMIBTreeForm"));
    setWindowTitle(tr("Search MIB Tree"));
    resize(900, 480);

    auto *splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setObjectName(QStringLiteral("Splitter"));
    auto *searchSide = new QWidget(splitter);
    auto *sideLayout = new QVBoxLayout(searchSide);
    sideLayout->setContentsMargins(0, 0, 0, 0);

    m_tabs = new QTabWidget(searchSide);
    m_tabs->setObjectName(QStringLiteral("Tabs"));
    const auto page = [this](const QString &caption) {
        auto *tab = new QWidget(m_tabs);
        auto *layout = new QVBoxLayout(tab);
        m_tabs->addTab(tab, caption);
        return std::make_pair(tab, layout);
    };
    auto [oidTab, oidLayout] = page(QStringLiteral("Search by OID"));
    m_targetOID = addField(oidTab, oidLayout, "Label1", QStringLiteral("Enter OID to search for ..."), "TargetOID",
                           QStringLiteral("1.3.6.1"));
    oidLayout->addStretch();
    auto [nameTab, nameLayout] = page(QStringLiteral("Search by Name"));
    m_targetName = addField(nameTab, nameLayout, "Label2", QStringLiteral("Enter name of the OID to search for ..."),
                            "TargetName", QStringLiteral("sys*"));
    nameLayout->addStretch();
    auto [keywordTab, keywordLayout] = page(QStringLiteral("&Search Descriptions"));
    m_targetKeywords = addField(keywordTab, keywordLayout, "Label3",
                                QStringLiteral("Enter Keywords to search for in MIB Descriptions ..."), "TargetKeywords",
                                QStringLiteral("CPU"));
    m_targetMIBs = addField(keywordTab, keywordLayout, "Label4", QStringLiteral("MIBs to search in ..."), "TargetMIBs",
                            QStringLiteral("Cisco*"));
    keywordLayout->addStretch();
    m_tabs->setCurrentIndex(0);
    sideLayout->addWidget(m_tabs);

    QPushButton *searchButton = addButton(searchSide, "Search_Button", QStringLiteral("Search"));
    sideLayout->addWidget(searchButton, 0, Qt::AlignRight);
    m_list = new QListWidget(searchSide);
    m_list->setObjectName(QStringLiteral("OIDList"));
    m_list->setItemDelegate(new ResultLineDelegate(m_list));
    sideLayout->addWidget(m_list, 1);

    auto *panel = new QWidget(splitter);
    panel->setObjectName(QStringLiteral("OIDDetailsPanel"));
    auto *panelLayout = new QVBoxLayout(panel);
    panelLayout->setContentsMargins(0, 0, 0, 0);
    m_details = new OIDDetails(panel);
    m_details->setObjectName(QStringLiteral("OIDDetails"));
    panelLayout->addWidget(m_details);
    splitter->addWidget(searchSide);
    splitter->addWidget(panel);
    splitter->setSizes({430, 470});

    auto *buttons = new QHBoxLayout;
    QPushButton *show = addButton(this, "Show_Button", QStringLiteral("Show in MIB Tree"));
    QPushButton *copy = addButton(this, "Copy_Button", QStringLiteral("Copy"));
    QPushButton *print = addButton(this, "Print_Button", QStringLiteral("Print"));
    QPushButton *done = addButton(this, "Done_Button", QStringLiteral("Done"));
    buttons->addWidget(show);
    buttons->addStretch();
    buttons->addWidget(copy);
    buttons->addWidget(print);
    buttons->addWidget(done);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addLayout(buttons);

    connect(m_targetOID, &QLineEdit::textChanged, this,
            [this](const QString &text) { guarded([&] { m_details->setOID(text); }); });
    connect(searchButton, &QPushButton::clicked, this, [this] { guarded([this] { search(); }); });
    connect(m_targetName, &QLineEdit::returnPressed, this, [this] { guarded([this] { search(); }); });
    connect(m_list, &QListWidget::currentRowChanged, this, [this](int row) { guarded([&] { chooseLine(row); }); });
    connect(show, &QPushButton::clicked, this, [this] { guarded([this] { showInTree(); }); });
    connect(copy, &QPushButton::clicked, this, [this] { guarded([this] { m_details->CopyToClipboard(); }); });
    connect(print, &QPushButton::clicked, this, [this] { guarded([this] { m_details->PrintPopup_Click(); }); });
    connect(done, &QPushButton::clicked, this, &QDialog::close);

    // The details start with the default OID, as if it had been typed.
    guarded([this] { m_details->setOID(m_targetOID->text()); });
}

SearchMIBTreeForm::~SearchMIBTreeForm() = default;

void SearchMIBTreeForm::Search(QObject *tree, bool modal)
{
    m_tree = tree;
    if (modal) {
        exec();
    } else {
        show();
        raise();
    }
}

QString SearchMIBTreeForm::nameStatement(const QString &targetName)
{
    QString pattern = targetName;
    pattern.replace(QLatin1Char('*'), QLatin1Char('%'));
    return head + QStringLiteral("Name Like ") + Globals::dq(pattern) + tail;
}

QString SearchMIBTreeForm::keywordStatement(const QString &targetKeywords, const QString &targetMIBs)
{
    if (targetKeywords.isEmpty() && targetMIBs.isEmpty())
        return QString();
    QString words = targetKeywords;
    words.replace(QLatin1Char('*'), QLatin1Char('%')).replace(QLatin1Char(','), QLatin1Char(' '));
    words = Globals::CollapseBlanks(words).trimmed();
    QString mibs = targetMIBs;
    mibs.replace(QLatin1Char('*'), QLatin1Char('%'));
    QString condition;
    if (!mibs.isEmpty())
        condition = QStringLiteral("MIB Like ") + Globals::sq(mibs);
    if (!words.isEmpty()) {
        for (const QString &word : words.split(QLatin1Char(' '))) {
            condition += condition.isEmpty() ? QStringLiteral("Description Like ") : QStringLiteral(" AND Description Like ");
            // A blank before the word: it matches where a word starts inside the text.
            condition += Globals::sq(QStringLiteral("% ") + word + QLatin1Char('%'));
        }
    }
    return head + condition + tail;
}

QString SearchMIBTreeForm::oidOfLine(const QString &line)
{
    const qsizetype tab = line.lastIndexOf(QLatin1Char('\t'));
    return tab < 0 ? QString() : line.mid(tab + 1).trimmed();
}

void SearchMIBTreeForm::search()
{
    QString statement;
    if (m_tabs->currentIndex() != 1) {
        statement = keywordStatement(m_targetKeywords->text(), m_targetMIBs->text());
        if (statement.isEmpty()) {
            MessageSink::warn(QStringLiteral("Filter is not specified."));
            return;
        }
    } else {
        statement = nameStatement(m_targetName->text());
    }
    QStringList lines;
    {
        Recordset rs(Globals::database(), statement);
        for (; !rs.eof(); rs.moveNext()) {
            lines.append(rs.text(QStringLiteral("MIB")) + QLatin1Char('\t') + rs.text(QStringLiteral("Name"))
                         + QLatin1Char('\t') + rs.text(QStringLiteral("OID")));
        }
    }
    const QSignalBlocker quiet(m_list);
    m_list->clear();
    m_list->addItems(lines);
    if (lines.size() == maxResults) {
        m_list->addItem(QString());
        m_list->addItem(QStringLiteral("   Only first 500 matches shown ..."));
    } else if (lines.isEmpty()) {
        m_list->addItem(QStringLiteral("[Data was not found]"));
    }
    m_list->setCurrentRow(-1);
    m_details->setOID(QString());
}

void SearchMIBTreeForm::chooseLine(int row)
{
    const QListWidgetItem *item = m_list->item(row);
    const QString oid = item != nullptr ? oidOfLine(item->text()) : QString();
    if (oid != m_details->OID())
        m_details->setOID(oid);
}

void SearchMIBTreeForm::showInTree()
{
    auto *tree = qobject_cast<MIBTreeCommon *>(m_tree.data());
    if (tree == nullptr)
        return;
    if (m_tabs->currentIndex() == 0) {
        tree->SelectOID(m_targetOID->text());
        return;
    }
    const QListWidgetItem *item = m_list->currentItem();
    const QString oid = item != nullptr ? oidOfLine(item->text()) : QString();
    if (!oid.isEmpty())
        tree->SelectOID(oid);
}
