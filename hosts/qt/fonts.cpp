#include "hosts/qt/fonts.h"

#include <QFontDatabase>
#include <QStringList>
#include <algorithm>
#include <cmath>

// A static library's resources are not there by themselves. Q_INIT_RESOURCE wants the global namespace.
static void initialiseResources() {
    Q_INIT_RESOURCE(quorel_fonts);
}

namespace quorel::qt {
namespace {

// Of this family, where it is installed; else of the bundled one, which is of the same build: geometric and bold.
constexpr const char* poppinsBold = "Poppins-Bold";

const QString& boldFamily() {
    static const QString family = [] {
        if (QFontDatabase::families().contains(QLatin1String("Poppins"))) return QStringLiteral("Poppins");
        initialiseResources();
        const int id = QFontDatabase::addApplicationFont(QStringLiteral(":/quorel/fonts/LeagueSpartan-Bold.otf"));
        const QStringList families = QFontDatabase::applicationFontFamilies(id);
        return families.isEmpty() ? QString() : families.front();
    }();
    return family;
}

}  // namespace

void installFonts() {
    boldFamily();
}

QFont fontOf(const ui::Font& font) {
    QFont result;
    if (font.family == poppinsBold) {
        result.setFamily(boldFamily());
        result.setWeight(QFont::Bold);
    } else {
        result.setFamily(font.family.empty() ? QStringLiteral("sans-serif") : textOf(font.family));
        result.setWeight(font.bold ? QFont::Bold : QFont::Normal);
    }
    result.setPixelSize(std::max(1, static_cast<int>(std::lround(font.size))));
    return result;
}

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

}  // namespace quorel::qt
