#include "trees/widgets/oiddetails.h"
#include "trees/widgets/oiddetailsform.h"

#include "core/widgets/exportengine.h"
#include "core/qxmiboid.h"
#include "core/widgets/styledtext.h"
#include "fixturedatabase.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

namespace {

const QString ifAdminStatus3 = QStringLiteral("1.3.6.1.2.1.2.2.1.7.3");
const QString sysName0 = QStringLiteral("1.3.6.1.2.1.1.5.0");

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

    std::unique_ptr<FixtureDatabase> m_fixture;

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        m_fixture->activate();
    }

    void composition_data()
    {
        QTest::addColumn<QString>("steps"); // property=value;..., applied in order
        QTest::addColumn<QString>("expected");
        const QString body = QStringLiteral("MIB \tIF-MIB\nName \tifAdminStatus.3\n\n"
                                            "iso.org.dod.internet.mgmt.mib-2.interfaces.ifTable.ifEntry.ifAdminStatus.3\n\n"
                                            "OID \t1.3.6.1.2.1.2.2.1.7.3\nType \tINTEGER\nUnits \t\nAccess \tread-write\n"
                                            "Status \tmandatory\n");
        const QString tail = QStringLiteral("\nThe ifAdminStatus object.\n\nPossible Values :\n    up(1)\n    down(2)\n"
                                            "    testing(3)\n");
        const QString oid = QStringLiteral("OID=") + ifAdminStatus3;
        QTest::newRow("oid only") << oid << body + tail;
        QTest::newRow("raw then parsed: parsed shown") << oid + ";RawValue=1;ParsedValue=up(1)"
                                                       << body + QStringLiteral("Value \tup(1)\n\n") + tail;
        QTest::newRow("parsed cleared: raw shown again") << oid + ";ParsedValue=up(1);RawValue=1;ParsedValue="
                                                         << body + QStringLiteral("Value \t1\n\n") + tail;
        QTest::newRow("title first, then oid") << "Title=Router;" + oid << QStringLiteral("Router\n\n") + body + tail;
        QTest::newRow("title last") << oid + ";Title=Router" << QStringLiteral("Router\n\n") + body + tail;
        QTest::newRow("unknown oid: title only") << oid + ";Title=Router;OID=7.999" << QStringLiteral("Router\n\n");
    }

    void composition()
    {
        QFETCH(QString, steps);
        QFETCH(QString, expected);
        OIDDetails details;
        for (const QString &step : steps.split(u';')) {
            const qsizetype eq = step.indexOf(u'=');
            QVERIFY(details.setProperty(step.left(eq).toLatin1().constData(), step.mid(eq + 1)));
        }
        QCOMPARE(shownText(details), expected);
        QCOMPARE(lf(details.shownText().toPlainText()), expected);
        // The RTF property describes exactly what is shown.
        QCOMPARE(lf(StyledText::fromRtf(details.RTF()).toPlainText()), expected);
        QCOMPARE(details.findChild<QTextEdit *>(QStringLiteral("DetailsPreload"))->toPlainText(), expected);
    }

    void addMessageUntilRecompose()
    {
        OIDDetails details;
        details.setOID(sysName0);
        const QString before = shownText(details);
        details.AddMessage(QStringLiteral("Set failed\r\n"), QColor(255, 0, 0), true, 12, true);
        QCOMPARE(shownText(details), before + QStringLiteral("Set failed\n"));
        const StyledText::Piece last = StyledText::fromRtf(details.RTF()).pieces().constLast();
        QVERIFY(last.sameStyle({QString(), QColor(255, 0, 0), true, 12, true}));
        QCOMPARE(last.text, QStringLiteral("Set failed\r\n"));
        details.Refresh();
        QCOMPARE(shownText(details), before);
    }

    void copy_data()
    {
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("end"); // -1: nothing selected
        QTest::addColumn<QString>("plain");

        // "MIB \tSNMPv2-MIB\r\nName \tsysName.0\r\n..."
        QTest::newRow("nothing selected copies everything") << 0 << -1 << QString();
        QTest::newRow("inside one piece") << 5 << 11 << QStringLiteral("SNMPv2");
        QTest::newRow("across pieces and a break") << 12 << 25 << QStringLiteral("MIB\r\nName \tsys");
    }

    void copy()
    {
        QFETCH(int, start);
        QFETCH(int, end);
        QFETCH(QString, plain);
        OIDDetails details;
        details.setOID(sysName0);
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
        QVERIFY(mime && mime->hasFormat(QStringLiteral("text/rtf")) && mime->hasHtml());
        QCOMPARE(mime->text(), plain);
        const StyledText rtf = StyledText::fromRtf(QString::fromLatin1(mime->data(QStringLiteral("text/rtf"))));
        QCOMPARE(rtf.toPlainText(), plain);
        // The colours survive: the module name is in the head value's green.
        if (plain.contains(QLatin1String("SNMPv2"))) {
            const auto piece = std::find_if(rtf.pieces().begin(), rtf.pieces().end(),
                                            [](const StyledText::Piece &p) { return p.text.contains(QLatin1String("SNMPv2")); });
            QVERIFY(piece->colour == QColor(0, 128, 0) && piece->bold);
            QVERIFY(mime->html().contains(QLatin1String("#008000")));
        }
    }

    void printToPdf()
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

    void form()
    {
        OIDDetailsForm form;
        form.ShowOIDDetails(sysName0, QStringLiteral("raw"), QStringLiteral("router-1"));
        QVERIFY(form.isVisible() && QTest::qWaitForWindowExposed(&form));
        OIDDetails *details = form.details();
        QCOMPARE(details->OID(), sysName0);
        QVERIFY(shownText(*details).contains(QLatin1String("Value \trouter-1\n")));
        for (const QSize size : {QSize(320, 200), QSize(640, 480)}) {
            form.resize(size);
            QTRY_COMPARE(details->geometry(), QRect(QPoint(0, 0), size));
        }
        // A record's ShowOIDDetails reuses one shared form, with no values.
        QXMibOID record;
        record.setOID(ifAdminStatus3);
        record.ShowOIDDetails();
        OIDDetailsForm *shared = OIDDetailsForm::shared();
        QVERIFY(shared->isVisible() && shared->details()->OID() == ifAdminStatus3);
        QVERIFY(!shownText(*shared->details()).contains(QLatin1String("Value \t")));

        record.setOID(sysName0);
        record.ShowOIDDetails();
        QVERIFY(OIDDetailsForm::shared() == shared && shared->details()->OID() == sysName0);
        delete shared;
    }
};

QTEST_MAIN(tst_OIDDetails)
#include "tst_oiddetails.moc"
