#pragma once

#include "qxmibtreewidgets_export.h"

#include <QString>

#include <memory>

class QTextDocument;

// Hands the component's printable output to the printer: today one operation,
// rich text (RTF) under a heading of program name, program version and title.
// Callers get nothing back; a cancelled print dialog simply prints nothing.
class QXMIBTREEWIDGETS_EXPORT ExportEngine
{
public:
    // In a widget application the print dialog asks first (printing to a PDF file is one of
    // its choices). Without one, or when setPrintToPdf() named a file, no dialog is shown.
    static void PrintRichText(const QString &rtf, const QString &programName, const QString &programVersion,
                              const QString &title);

    // Prints straight to a PDF file. Returns false when nothing could be written.
    static bool PrintRichTextToPdf(const QString &rtf, const QString &programName, const QString &programVersion,
                                   const QString &title, const QString &pdfPath);

    // Sends every later PrintRichText to this PDF file without a dialog (tests and batch
    // hosts); an empty path brings the dialog back.
    static void setPrintToPdf(const QString &pdfPath);
    static QString printToPdf();

    // The page content: the heading lines, a blank line, then the text of the RTF.
    static std::unique_ptr<QTextDocument> richTextDocument(const QString &rtf, const QString &programName,
                                                           const QString &programVersion, const QString &title);
};
