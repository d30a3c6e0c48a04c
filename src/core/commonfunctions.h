#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

// Text helpers shared across the component.
class QXMIBTREECORE_EXPORT CommonFunctions
{
public:
    // A rate or size in K, M, G, T or Peta steps of 1024 (binary) or 1000, with the
    // historical uneven precision of each band; values up to 9,600 stay unscaled.
    static QString FormatScaled(double value, const QString &unit, bool binary);
    // "1 days, 1 hours, 1 minutes, 1 seconds"; zero parts left out, empty for zero.
    // Throws QXMibError(Overflow) when a product leaves the 32-bit range.
    static QString FormatDuration(qint32 days, qint32 hours, qint32 minutes, qint32 seconds);
    // The bare file name of a path ("/" or "\" separated, drive colons dropped).
    static QString FileNamePart(const QString &path, bool stripExtension);

    // Number(x, "##0.0") and friends: x rounded to the pattern's decimals, sign kept.
    static QString FormatNumber(double value, int decimals);
    // The runtime's shortest text form of a number (5.5, 65, 0.25, 1E+20).
    static QString ShortestNumber(double value);
    // The leading decimal number of a text (leading blanks skipped), 0 when none.
    static double LeadingNumber(const QString &text);
};
