#include "core/widgets/exportengine.h"

#include "core/widgets/styledtext.h"

#include <QApplication>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutex>
#include <QPrintDialog>
#include <QPrinter>
#include <QTextDocument>

Q_LOGGING_CATEGORY(lcExport, "qxmib.export", QtWarningMsg)

namespace {

QMutex &pdfMutex()
{
    static QMutex m;
    return m;
}

QString &pdfTarget()
{
    static QString path;
    return path;
}

void printDocument(QTextDocument &document, QPrinter &printer, const QString &title)
{
    printer.setDocName(title);
    document.print(&printer);
}

} // namespace

std::unique_ptr<QTextDocument> ExportEngine::richTextDocument(const QString &rtf, const QString &programName,
                                                              const QString &programVersion, const QString &title)
{
    StyledText page;
    const QColor black(0, 0, 0);
    page.append(programName, black, true, 12);
    if (!programVersion.isEmpty())
        page.append(QStringLiteral("    ") + programVersion, black, false, 9);
    page.append(QStringLiteral("\r\n"), black, false, 9);
    if (!title.isEmpty())
        page.append(title + QStringLiteral("\r\n"), black, true, 11);
    page.append(QStringLiteral("\r\n"), black, false, 8);
    page.append(StyledText::fromRtf(rtf));

    auto document = std::make_unique<QTextDocument>();
    document->setHtml(page.toHtml());
    return document;
}

bool ExportEngine::PrintRichTextToPdf(const QString &rtf, const QString &programName,
                                      const QString &programVersion, const QString &title, const QString &pdfPath)
{
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()) == nullptr) {
        qCWarning(lcExport) << "printing needs a GUI application object";
        return false;
    }
    auto document = richTextDocument(rtf, programName, programVersion, title);
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(pdfPath);
    printer.setCreator(programName);
    printDocument(*document, printer, title);
    const QFileInfo written(pdfPath);
    return written.exists() && written.size() > 0;
}

void ExportEngine::PrintRichText(const QString &rtf, const QString &programName, const QString &programVersion,
                                 const QString &title)
{
    const QString pdf = printToPdf();
    if (!pdf.isEmpty()) {
        PrintRichTextToPdf(rtf, programName, programVersion, title, pdf);
        return;
    }
    if (qobject_cast<QApplication *>(QCoreApplication::instance()) == nullptr) {
        qCWarning(lcExport) << "no print dialog without a widget application";
        return;
    }
    QPrinter printer(QPrinter::HighResolution);
    printer.setCreator(programName);
    printer.setDocName(title);
    QPrintDialog dialog(&printer, QApplication::activeWindow());
    dialog.setWindowTitle(programName);
    if (dialog.exec() != QDialog::Accepted)
        return;
    auto document = richTextDocument(rtf, programName, programVersion, title);
    printDocument(*document, printer, title);
}

void ExportEngine::setPrintToPdf(const QString &pdfPath)
{
    QMutexLocker lock(&pdfMutex());
    pdfTarget() = pdfPath;
}

QString ExportEngine::printToPdf()
{
    QMutexLocker lock(&pdfMutex());
    return pdfTarget();
}
