// Installed faces: families, metrics, and glyphs as 8-bit masks with full
// hinting and whole advances, so that every row of a screen lines up.
#include "platform/desktop/desktop.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>
#include <QRawFont>

#include <algorithm>
#include <cmath>

// ---- state ------------------------------------------------------------------

static std::vector<QRawFont> fonts; // be_font n is fonts[n - 1]; never closed
static std::vector<uint8_t> mask;   // of the newest glyph

// Texts that callers hold on to.
static std::vector<QByteArray> familyNames, fixedNames;
static QByteArray bestFixed, smallFamily;

// ---- families --------------------------------------------------------------

static void list_families(std::vector<QByteArray> *names, bool fixed)
{
    if (!names->empty())
        return;
    QStringList families = QFontDatabase::families();

    for (const QString &family : families) {
        if (QFontDatabase::isPrivateFamily(family) ||
            !QFontDatabase::isSmoothlyScalable(family))
            continue;
        if (!fixed || QFontDatabase::isFixedPitch(family))
            names->push_back(family.toUtf8());
    }
    std::sort(names->begin(), names->end(),
              [](const QByteArray &a, const QByteArray &b) {
                  return a.compare(b, Qt::CaseInsensitive) < 0;
              });
}

int be_font_list(const char **names, int max, bool fixed)
{
    std::vector<QByteArray> &list = fixed ? fixedNames : familyNames;
    int count = 0;

    list_families(&list, fixed);
    for (const QByteArray &name : list)
        if (count < max)
            names[count++] = name.constData();
    return count;
}

// Faces in which 0 and O, 1 and l differ at small sizes, with line graphics
// that we draw ourselves anyway; the desktop's own choice comes last.
const char *be_font_best_fixed()
{
    static const char *const known[] = {
        "DejaVu Sans Mono", "Hack",        "Source Code Pro", "JetBrains Mono",
        "Noto Sans Mono",   "Ubuntu Mono", "Liberation Mono", "FreeMono",
    };

    if (!bestFixed.isEmpty())
        return bestFixed.constData();
    for (const char *family : known)
        if (QFontDatabase::hasFamily(QLatin1String(family))) {
            bestFixed = family;
            return bestFixed.constData();
        }
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    bestFixed = QFontInfo(fixed).family().toUtf8();
    return bestFixed.constData();
}

const char *be_font_small()
{
    if (smallFamily.isEmpty())
        smallFamily = QFontInfo(QApplication::font()).family().toUtf8();
    return smallFamily.constData();
}

// ---- metrics and glyphs ----------------------------------------------------

static int advance_of(const QRawFont &raw, quint32 glyph)
{
    QList<QPointF> advances =
        raw.advancesForGlyphIndexes(QList<quint32>{glyph});
    return advances.isEmpty() ? 0 : qRound(advances.first().x());
}

static quint32 glyph_of(const QRawFont &raw, uint32_t codepoint)
{
    char32_t c = codepoint;
    QList<quint32> found = raw.glyphIndexesForString(QString::fromUcs4(&c, 1));

    return found.isEmpty() ? 0 : found.first();
}

be_font be_font_open(const char *family, int pixels, bool bold, bool italic,
                     be_font_metrics *metrics)
{
    QFont font(QString::fromUtf8(family));

    font.setPixelSize(qMax(1, pixels));
    font.setBold(bold);
    font.setItalic(italic);
    font.setHintingPreference(QFont::PreferFullHinting);
    font.setStyleStrategy(
        QFont::StyleStrategy(QFont::PreferAntialias | QFont::NoFontMerging));
    if (QFontInfo(font).family().compare(QString::fromUtf8(family),
                                         Qt::CaseInsensitive) != 0)
        return 0;
    QRawFont raw = QRawFont::fromFont(font);
    if (!raw.isValid())
        return 0;

    int zero = advance_of(raw, glyph_of(raw, '0'));
    metrics->ascent = int(std::ceil(raw.ascent()));
    metrics->descent = int(std::ceil(raw.descent()));
    metrics->leading = qMax(0, qRound(raw.leading()));
    metrics->advance = qMax(1, zero);
    metrics->fixed = advance_of(raw, glyph_of(raw, 'i')) == zero &&
                     advance_of(raw, glyph_of(raw, 'W')) == zero;
    fonts.push_back(raw);
    return be_font(fonts.size());
}

void be_font_glyph(be_font font, uint32_t codepoint, be_glyph *out)
{
    *out = be_glyph{};
    if (font < 1 || size_t(font) > fonts.size() || codepoint > 0x10FFFF) {
        out->missing = true;
        return;
    }
    const QRawFont &raw = fonts[size_t(font) - 1];
    quint32 glyph = glyph_of(raw, codepoint);

    if (glyph == 0) {
        out->missing = true;
        return;
    }
    out->advance = advance_of(raw, glyph);
    QImage image = raw.alphaMapForGlyph(glyph, QRawFont::PixelAntialiasing);
    if (image.isNull() || image.width() == 0 || image.height() == 0)
        return;
    image = image.convertToFormat(QImage::Format_Alpha8);

    QRectF box = raw.boundingRect(glyph);
    out->width = image.width();
    out->height = image.height();
    out->left = int(std::floor(box.left()));
    out->top = -int(std::floor(box.top()));
    mask.resize(size_t(out->width) * size_t(out->height));
    for (int row = 0; row < out->height; row++)
        std::copy_n(image.constScanLine(row), out->width,
                    mask.data() + size_t(row) * size_t(out->width));
    out->mask = mask.data();
}

void fonts_stop()
{
    fonts.clear();
}
