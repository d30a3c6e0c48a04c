#include "trees/oiddetails.h"
#include "trees/oiddetailsform.h"

#include "core/exportengine.h"
#include "core/objectfactory.h"
#include "core/qxmiboid.h"
#include "core/styledtext.h"
#include "fixturedatabase.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMetaProperty>
#include <QMimeData>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

namespace {

const QString ifAdminStatus3 = QStringLiteral("1.3.6.1.2.1.2.2.1.7.3");

QString shownText(OIDDetails &details)
{
    return details.findChild<QTextEdit *>(QStringLiteral("Details"))->toPlainText();
}

QString lf(QString s)
{
    return s.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

} // namespace

class tst_OIDDetails : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void publicFace();
    void composition_data();
    void composition();
    void addMessageUntilRecompose();
    void copy_data();
    void copy();
    void printToPdf();
    void form();
    void sharedFormFromRecord();

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

void tst_OIDDetails::init()
{
    m_fixture = std::make_unique<FixtureDatabase>();
    m_fixture->addStandardObjects();
    m_fixture->activate();
}

void tst_OIDDetails::publicFace()
{
    std::unique_ptr<QObject> created(ObjectFactory::create(QStringLiteral("QXMIBTree.OIDDetails")));
    auto *details = qobject_cast<OIDDetails *>(created.get());
    QVERIFY(details);

    const QMetaObject *mo = details->metaObject();
    QStringList properties;
    for (int i = mo->propertyOffset(); i < mo->propertyCount(); ++i)
        properties << QLatin1String(mo->property(i).name());
    QCOMPARE(properties, QStringList({QStringLiteral("OID"), QStringLiteral("RawValue"), QStringLiteral("ParsedValue"),
                                      QStringLiteral("RTF"), QStringLiteral("Title")}));
    QVERIFY(!mo->property(mo->indexOfProperty("RTF")).isWritable());
    for (const char *method : {"Refresh()", "CopyToClipboard()", "PrintPopup_Click()",
                               "AddMessage(QString,QColor,bool,int,bool)"})
        QVERIFY2(mo->indexOfMethod(method) >= 0, method);

    auto *visible = details->findChild<QTextEdit *>(QStringLiteral("Details"));
    auto *preload = details->findChild<QTextEdit *>(QStringLiteral("DetailsPreload"));
    QVERIFY(visible && preload);
    QVERIFY(visible->isReadOnly());
    details->show();
    QVERIFY(visible->isVisible());
    QVERIFY(!preload->isVisible());
    QVERIFY(details->findChild<QAction *>(QStringLiteral("CopyPopup")));
    QVERIFY(details->findChild<QAction *>(QStringLiteral("PrintPopup")));
}

void tst_OIDDetails::composition_data()
{
    QTest::addColumn<QStringList>("steps"); // property=value, applied in order
    QTest::addColumn<QString>("expected");

    const QString body = QStringLiteral("MIB \tIF-MIB\nName \tifAdminStatus.3\n\n"
                                        "iso.org.dod.internet.mgmt.mib-2.interfaces.ifTable.ifEntry.ifAdminStatus.3\n\n"
                                        "OID \t1.3.6.1.2.1.2.2.1.7.3\nType \tINTEGER\nUnits \t\nAccess \tread-write\n"
                                        "Status \tmandatory\n");
    const QString tail = QStringLiteral("\nThe ifAdminStatus object.\n\nPossible Values :\n    up(1)\n    down(2)\n"
                                        "    testing(3)\n");

    QTest::newRow("oid only") << QStringList{QStringLiteral("OID=") + ifAdminStatus3} << body + tail;
    QTest::newRow("raw then parsed: parsed shown")
        << QStringList{QStringLiteral("OID=") + ifAdminStatus3, QStringLiteral("RawValue=1"),
                       QStringLiteral("ParsedValue=up(1)")}
        << body + QStringLiteral("Value \tup(1)\n\n") + tail;
    QTest::newRow("parsed cleared: raw shown again")
        << QStringList{QStringLiteral("OID=") + ifAdminStatus3, QStringLiteral("ParsedValue=up(1)"),
                       QStringLiteral("RawValue=1"), QStringLiteral("ParsedValue=")}
        << body + QStringLiteral("Value \t1\n\n") + tail;
    QTest::newRow("title first, then oid")
        << QStringList{QStringLiteral("Title=Router"), QStringLiteral("OID=") + ifAdminStatus3}
        << QStringLiteral("Router\n\n") + body + tail;
    QTest::newRow("unknown oid: title only")
        << QStringList{QStringLiteral("OID=") + ifAdminStatus3, QStringLiteral("Title=Router"),
                       QStringLiteral("OID=7.999")}
        << QStringLiteral("Router\n\n");
}

void tst_OIDDetails::composition()
{
    QFETCH(QStringList, steps);
    QFETCH(QString, expected);
    OIDDetails details;
    for (const QString &step : steps) {
        const qsizetype eq = step.indexOf(u'=');
        QVERIFY(details.setProperty(step.left(eq).toLatin1().constData(), step.mid(eq + 1)));
    }
    QCOMPARE(shownText(details), expected);
    QCOMPARE(lf(details.shownText().toPlainText()), expected);
    // The RTF property describes exactly what is shown.
    QCOMPARE(lf(StyledText::fromRtf(details.RTF()).toPlainText()), expected);
    QCOMPARE(details.findChild<QTextEdit *>(QStringLiteral("DetailsPreload"))->toPlainText(), expected);
}

void tst_OIDDetails::addMessageUntilRecompose()
{
    OIDDetails details;
    details.setOID(QStringLiteral("1.3.6.1.2.1.1.5.0"));
    const QString before = shownText(details);
    details.AddMessage(QStringLiteral("Set failed\r\n"), QColor(255, 0, 0), true, 12, true);
    QCOMPARE(shownText(details), before + QStringLiteral("Set failed\n"));
    const StyledText back = StyledText::fromRtf(details.RTF());
    const StyledText::Piece last = back.pieces().constLast();
    QCOMPARE(last.text, QStringLiteral("Set failed\r\n"));
    QCOMPARE(last.colour, QColor(255, 0, 0));
    QVERIFY(last.bold && last.emphasis);
    QCOMPARE(last.size, 12);
    details.Refresh();
    QCOMPARE(shownText(details), before);
}

void tst_OIDDetails::copy_data()
{
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end"); // -1: nothing selected
    QTest::addColumn<QString>("plain");

    // "MIB \tSNMPv2-MIB\r\nName \tsysName.0\r\n..."
    QTest::newRow("nothing selected copies everything") << 0 << -1 << QString();
    QTest::newRow("inside one piece") << 5 << 11 << QStringLiteral("SNMPv2");
    QTest::newRow("across pieces and a break") << 12 << 25 << QStringLiteral("MIB\r\nName \tsys");
}

void tst_OIDDetails::copy()
{
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(QString, plain);
    OIDDetails details;
    details.setOID(QStringLiteral("1.3.6.1.2.1.1.5.0"));
    auto *box = details.findChild<QTextEdit *>(QStringLiteral("Details"));
    if (end >= 0) {
        QTextCursor cursor = box->textCursor();
        cursor.setPosition(start);
        cursor.setPosition(end, QTextCursor::KeepAnchor);
        box->setTextCursor(cursor);
    } else {
        plain = details.shownText().toPlainText();
    }
    QGuiApplication::clipboard()->setText(QStringLiteral("stale"));

    details.CopyToClipboard();

    const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
    QVERIFY(mime);
    QCOMPARE(mime->text(), plain);
    QVERIFY(mime->hasFormat(QStringLiteral("text/rtf")));
    QVERIFY(mime->hasHtml());
    const StyledText rtf = StyledText::fromRtf(QString::fromLatin1(mime->data(QStringLiteral("text/rtf"))));
    QCOMPARE(rtf.toPlainText(), plain);
    // The colours survive: the module name is in the head value's green.
    if (plain.contains(QLatin1String("SNMPv2"))) {
        const auto piece = std::find_if(rtf.pieces().begin(), rtf.pieces().end(),
                                        [](const StyledText::Piece &p) { return p.text.contains(QLatin1String("SNMPv2")); });
        QCOMPARE(piece->colour, QColor(0, 128, 0));
        QVERIFY(piece->bold);
        QVERIFY(mime->html().contains(QLatin1String("#008000")));
    }
}

void tst_OIDDetails::printToPdf()
{
    const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
    if (pdftotext.isEmpty())
        QSKIP("pdftotext is not installed");
    QTemporaryDir dir;
    const QString pdf = dir.filePath(QStringLiteral("details.pdf"));
    ExportEngine::setPrintToPdf(pdf);
    OIDDetails details;
    details.setOID(ifAdminStatus3);
    details.findChild<QAction *>(QStringLiteral("PrintPopup"))->trigger();
    ExportEngine::setPrintToPdf(QString());
    QVERIFY(QFile::exists(pdf));

    QProcess process;
    process.start(pdftotext, {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
    QVERIFY(process.waitForFinished(20000));
    const QString text = QString::fromUtf8(process.readAllStandardOutput());
    for (const char *expected : {"Tarnbrooke MIB Browser", "Version 8.0.0", "IF-MIB:ifAdminStatus.3",
                                 "Possible Values :", "testing(3)", "1.3.6.1.2.1.2.2.1.7.3"})
        QVERIFY2(text.contains(QLatin1String(expected)), qPrintable(QLatin1String(expected) + u'\n' + text));
    // The heading comes before the details.
    QVERIFY(text.indexOf(QLatin1String("Tarnbrooke")) < text.indexOf(QLatin1String("MIB ")));
}

void tst_OIDDetails::form()
{
    OIDDetailsForm form;
    form.ShowOIDDetails(QStringLiteral("1.3.6.1.2.1.1.5.0"), QStringLiteral("raw"), QStringLiteral("router-1"));
    QVERIFY(form.isVisible());
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    OIDDetails *details = form.details();
    QCOMPARE(details->OID(), QStringLiteral("1.3.6.1.2.1.1.5.0"));
    QVERIFY(shownText(*details).contains(QLatin1String("Value \trouter-1\n")));
    for (const QSize size : {QSize(320, 200), QSize(640, 480)}) {
        form.resize(size);
        QTRY_COMPARE(details->geometry(), QRect(QPoint(0, 0), size));
    }
}

void tst_OIDDetails::sharedFormFromRecord()
{
    QXMibOID record;
    record.setOID(ifAdminStatus3);
    record.ShowOIDDetails();
    OIDDetailsForm *form = OIDDetailsForm::shared();
    QVERIFY(form->isVisible());
    QCOMPARE(form->details()->OID(), ifAdminStatus3);
    QVERIFY(!shownText(*form->details()).contains(QLatin1String("Value \t")));

    record.setOID(QStringLiteral("1.3.6.1.2.1.1.5.0"));
    record.ShowOIDDetails();
    QCOMPARE(OIDDetailsForm::shared(), form);
    QCOMPARE(form->details()->OID(), QStringLiteral("1.3.6.1.2.1.1.5.0"));
    delete form;
}

QTEST_MAIN(tst_OIDDetails)
#include "tst_oiddetails.moc"
