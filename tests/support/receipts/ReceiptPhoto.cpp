#include "support/receipts/ReceiptPhoto.h"

#include <QFont>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace nookery::testing {
namespace {

using Random = std::mt19937;

double between(Random& random, double low, double high) {
    return low + (high - low) * below(random, 10001) / 10000;
}

/// A grey picture of real numbers, which photographing works on.
struct Sheet {
    Sheet(int sheetWidth, int sheetHeight)
        : width(sheetWidth),
          height(sheetHeight),
          levels(static_cast<std::size_t>(sheetWidth) * static_cast<std::size_t>(sheetHeight)) {}

    float& at(int x, int y) { return levels[index(x, y)]; }
    float at(int x, int y) const { return levels[index(x, y)]; }
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(x);
    }
    bool holds(double x, double y) const {
        return x >= 0 && y >= 0 && x < width - 1 && y < height - 1;
    }
    float between(double x, double y) const {
        const int left = static_cast<int>(x);
        const int top = static_cast<int>(y);
        const auto right = static_cast<float>(x - left);
        const auto lower = static_cast<float>(y - top);
        return (at(left, top) * (1 - right) + at(left + 1, top) * right) * (1 - lower) +
               (at(left, top + 1) * (1 - right) + at(left + 1, top + 1) * right) * lower;
    }

    int width;
    int height;
    std::vector<float> levels;
};

void drawRow(QPainter& painter, const PrintedRow& row, const QRect& place, QFont font) {
    if (row.style == PrintedRow::Style::large) font.setPixelSize(font.pixelSize() * 4 / 3);
    painter.setFont(font);
    const bool centred = row.right.empty() && row.style != PrintedRow::Style::plain;
    painter.drawText(place, centred ? Qt::AlignHCenter : Qt::AlignLeft,
                     QString::fromStdString(row.left));
    painter.drawText(place, Qt::AlignRight, QString::fromStdString(row.right));
}

Sheet print(const MadeUpReceipt& receipt, const PhotoConditions& conditions) {
    const int width = conditions.width * 86 / 100;
    QFont font(QString::fromStdString(conditions.font));
    font.setPixelSize(std::max(6, static_cast<int>(conditions.width * conditions.fontShare)));
    const int rowHeight = font.pixelSize() * 3 / 2;
    const int margin = width / 16;
    const int height = rowHeight * static_cast<int>(receipt.rows.size()) + 2 * margin;
    QImage image(width, height, QImage::Format_Grayscale8);
    image.fill(245);
    QPainter painter(&image);
    const int ink = 30 + static_cast<int>(conditions.fading * 130);
    painter.setPen(QColor(ink, ink, ink));
    int top = margin;
    for (const PrintedRow& row : receipt.rows) {
        drawRow(painter, row, QRect(margin, top, width - 2 * margin, rowHeight * 2), font);
        top += rowHeight;
    }
    painter.end();
    Sheet paper(width, height);
    for (int y = 0; y < height; ++y) {
        std::copy_n(image.constScanLine(y), width, paper.levels.begin() + paper.index(0, y));
    }
    return paper;
}

/// Waves across the paper, in whose slopes the light changes.
struct Fold {
    double acrossX, acrossY, phase, depth;

    double move(double x, double y) const {
        return depth * std::sin(x * acrossX + y * acrossY + phase);
    }
    double slope(double x, double y) const {
        return depth * std::hypot(acrossX, acrossY) * std::cos(x * acrossX + y * acrossY + phase);
    }
};

std::array<Fold, 4> foldsOf(const PhotoConditions& conditions, Random& random) {
    std::array<Fold, 4> folds;
    for (Fold& fold : folds) {
        const double direction = between(random, 0, std::numbers::pi);
        const double waves = 2 * std::numbers::pi / (conditions.width * between(random, 0.2, 0.7));
        fold = {waves * std::cos(direction), waves * std::sin(direction), between(random, 0, 6),
                conditions.foldDepth * conditions.width / 1200 * between(random, 0.3, 1)};
    }
    return folds;
}

Sheet lay(const Sheet& paper, const PhotoConditions& conditions, Random& random) {
    const auto folds = foldsOf(conditions, random);
    const double radians = conditions.tiltDegrees * std::numbers::pi / 180;
    const double lean = std::abs(std::sin(radians)) * paper.width;
    Sheet photo(conditions.width, paper.height + static_cast<int>(lean) + conditions.width / 12);
    for (int y = 0; y < photo.height; ++y) {
        for (int x = 0; x < photo.width; ++x) {
            const double fromX = x - photo.width / 2.0;
            const double fromY = y - photo.height / 2.0;
            double paperX = fromX * std::cos(radians) + fromY * std::sin(radians);
            double paperY = fromY * std::cos(radians) - fromX * std::sin(radians);
            paperX *= 1 + conditions.keystone * (0.5 - fromY / photo.height);
            paperX += paper.width / 2.0;
            paperY += paper.height / 2.0;
            double light = 1;
            double moved = 0;
            for (const Fold& fold : folds) {
                moved += fold.move(paperX, paperY);
                light += 2.5 * fold.slope(paperX, paperY);
            }
            const bool onPaper = paper.holds(paperX + moved / 2, paperY + moved);
            const float level = onPaper ? paper.between(paperX + moved / 2, paperY + moved)
                                        : 70.0F + static_cast<float>((x * 7 + y * 3) % 23);
            photo.at(x, y) = level * static_cast<float>(std::clamp(light, 0.6, 1.15));
        }
    }
    return photo;
}

void shade(Sheet& photo, double shadow, Random& random) {
    const double cornerX = below(random, 2) * photo.width;
    const double cornerY = below(random, 2) * photo.height;
    const double reach = std::hypot(photo.width, photo.height);
    for (int y = 0; y < photo.height; ++y) {
        for (int x = 0; x < photo.width; ++x) {
            const double nearness = 1 - std::hypot(x - cornerX, y - cornerY) / reach;
            photo.at(x, y) *= static_cast<float>(1 - shadow * nearness);
        }
    }
}

void blur(Sheet& photo) {
    Sheet blurred = photo;
    for (int y = 1; y + 1 < photo.height; ++y) {
        for (int x = 1; x + 1 < photo.width; ++x) {
            blurred.at(x, y) = (4 * photo.at(x, y) + photo.at(x - 1, y) + photo.at(x + 1, y) +
                                photo.at(x, y - 1) + photo.at(x, y + 1)) /
                               8;
        }
    }
    photo = std::move(blurred);
}

Picture develop(const Sheet& photo, double noise, Random& random) {
    Picture picture{photo.width, photo.height, {}};
    picture.pixels.reserve(3 * photo.levels.size());
    for (const float level : photo.levels) {
        // Four throws added make a good bell.
        double grain = -2;
        for (int i = 0; i < 4; ++i) grain += (random() & 0xffff) / 65535.0;
        const double grey = std::clamp(level + noise * grain * std::sqrt(3.0), 0.0, 255.0);
        picture.pixels.insert(picture.pixels.end(), 3, static_cast<std::uint8_t>(grey));
    }
    return picture;
}

}  // namespace

PhotoConditions handHeld(Random& random) {
    constexpr std::array fonts{"DejaVu Sans Mono", "Nimbus Mono PS", "Noto Sans Mono",
                               "DejaVu Sans", "Nimbus Sans"};
    PhotoConditions conditions;
    conditions.font = fonts[static_cast<std::size_t>(below(random, fonts.size()))];
    conditions.fontShare = between(random, 1.0 / 36, 1.0 / 25);
    conditions.tiltDegrees = between(random, -7, 7);
    conditions.keystone = between(random, -0.08, 0.08);
    conditions.foldDepth = between(random, 0, 7);
    conditions.shadow = between(random, 0, 0.6);
    conditions.fading = between(random, 0, 0.7);
    conditions.blurRounds = below(random, 5);
    conditions.noise = between(random, 2, 14);
    return conditions;
}

Picture photograph(const MadeUpReceipt& receipt, const PhotoConditions& conditions,
                   Random& random) {
    Sheet photo = lay(print(receipt, conditions), conditions, random);
    shade(photo, conditions.shadow, random);
    for (int round = 0; round < conditions.blurRounds; ++round) blur(photo);
    return develop(photo, conditions.noise, random);
}

}  // namespace nookery::testing
