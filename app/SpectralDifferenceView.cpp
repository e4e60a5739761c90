#include "app/SpectralDifferenceView.h"

#include "analysis/SpectralDifference.h"
#include "app/Theme.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace orvane::app {

namespace {

struct Band {
    const char* title;
    double fMin;
    double fMax;
    bool nyquistStyle;
};

constexpr Band bands[] = {
    {"Passband \u00b7 20 Hz \u2013 20 kHz", 20.0, 20000.0, false},
    {"Nyquist transition \u00b7 18 \u2013 22 kHz", 18000.0, 22500.0, true},
};

QString frequencyLabel(double hz) {
    if (hz >= 1000.0) {
        const double k = hz / 1000.0;
        return k == std::floor(k) ? QStringLiteral("%1k").arg(k, 0, 'f', 0)
                                  : QStringLiteral("%1k").arg(k, 0, 'f', 1);
    }
    return QStringLiteral("%1").arg(hz, 0, 'f', 0);
}

QString decibelLabel(double db, double half) {
    const int decimals = half < 0.1 ? 3 : (half < 1.0 ? 2 : 1);
    return QStringLiteral("%1%2").arg(db > 0 ? QStringLiteral("+") : QString()).arg(db, 0, 'f', decimals);
}

} // namespace

SpectralDifferenceView::SpectralDifferenceView(SpectralCache& cache, QWidget* parent)
    : QWidget(parent), cache_(cache) {
    setObjectName(QStringLiteral("spectralDifference"));
    setMinimumHeight(280);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SpectralDifferenceView::setSource(std::optional<Uuid> trackID, std::optional<Uuid> takeID,
                                       std::string takeName) {
    trackID_ = trackID;
    takeID_ = takeID;
    takeName_ = std::move(takeName);
    refresh();
}

void SpectralDifferenceView::refresh() {
    if (isVisible()) {
        requestImprints();
    }
    update();
}

void SpectralDifferenceView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    requestImprints();
}

void SpectralDifferenceView::requestImprints() {
    if (!trackID_ || !takeID_) {
        return;
    }
    cache_.analyzeSpectralImprint(*trackID_, *trackID_, 0);
    cache_.analyzeSpectralImprint(*trackID_, *takeID_, 0);
}

bool SpectralDifferenceView::hasCurve() const {
    if (!trackID_ || !takeID_) {
        return false;
    }
    const auto& imprints = cache_.spectralCache();
    const auto master = imprints.find(*trackID_);
    const auto take = imprints.find(*takeID_);
    return master != imprints.end() && take != imprints.end() &&
           SpectralDifference::panel(master->second, take->second, 20.0, 20000.0, false).has_value();
}

void SpectralDifferenceView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF all = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(Theme::line);
    painter.setBrush(Theme::background);
    painter.drawRoundedRect(all, 4, 4);

    QFont small = font();
    small.setPointSizeF(7.5);
    QFont heading = font();
    heading.setPointSizeF(8.5);
    heading.setBold(true);
    painter.setFont(heading);
    painter.setPen(Theme::text);
    const QString name = takeName_.empty() ? QStringLiteral("take") : QString::fromStdString(takeName_);
    const QRectF headingRect(all.left() + 8, all.top() + 4, all.width() - 16, 18);
    painter.drawText(
        headingRect, Qt::AlignLeft | Qt::AlignVCenter,
        painter.fontMetrics().elidedText(QStringLiteral("LTAS \u2014 Spectral Difference vs ") + name,
                                         Qt::ElideRight, static_cast<int>(headingRect.width())));
    painter.setFont(small);
    painter.setPen(Theme::dimText);
    painter.drawText(QRectF(all.left() + 8, all.bottom() - 18, all.width() - 16, 16), Qt::AlignCenter,
                     QStringLiteral("Tonal \u00b7 phase-blind \u00b7 mono-sum \u00b7 level-independent"));

    const QRectF body(all.left() + 4, all.top() + 24, all.width() - 8, all.height() - 44);
    const auto& imprints = cache_.spectralCache();
    const auto master = trackID_ ? imprints.find(*trackID_) : imprints.end();
    const auto take = takeID_ ? imprints.find(*takeID_) : imprints.end();
    if (!trackID_ || !takeID_ || master == imprints.end() || take == imprints.end()) {
        painter.setPen(Theme::dimText);
        QString state = QStringLiteral("Select a take of the stack to compare it with the master.");
        if (trackID_ && takeID_) {
            state = QStringLiteral("Measuring the spectra\u2026");
        }
        painter.drawText(body, Qt::AlignCenter | Qt::TextWordWrap, state);
        return;
    }
    const double gap = 10.0;
    const double panelHeight = (body.height() - gap) / 2.0;
    for (std::size_t i = 0; i < std::size(bands); ++i) {
        const QRectF area(body.left(), body.top() + static_cast<double>(i) * (panelHeight + gap),
                          body.width(), panelHeight);
        paintPanel(painter, area, QString::fromUtf8(bands[i].title), bands[i].fMin, bands[i].fMax,
                   bands[i].nyquistStyle, master->second, take->second);
    }
}

void SpectralDifferenceView::paintPanel(QPainter& painter, const QRectF& area, const QString& title,
                                        double fMin, double fMax, bool nyquistStyle,
                                        const SpectralImprint& reference, const SpectralImprint& target) {
    painter.setPen(Theme::dimText);
    painter.drawText(QRectF(area.left() + 4, area.top(), area.width() - 8, 14),
                     Qt::AlignLeft | Qt::AlignVCenter, title);
    const QRectF plot(area.left() + 44, area.top() + 16, area.width() - 52, area.height() - 32);
    painter.setPen(Theme::line);
    painter.setBrush(Theme::panel);
    painter.drawRect(plot);

    const auto curve = SpectralDifference::panel(reference, target, fMin, fMax, nyquistStyle);
    if (!curve || curve->frequencies.empty()) {
        painter.setPen(Theme::dimText);
        painter.drawText(plot, Qt::AlignCenter | Qt::TextWordWrap,
                         QStringLiteral("The two files have different sample grids."));
        return;
    }
    const double half = curve->half;
    const double logMin = std::log10(fMin);
    const double logSpan = std::log10(fMax) - logMin;
    const auto xFor = [&](double hz) {
        return plot.left() + (std::log10(hz) - logMin) / logSpan * plot.width();
    };
    const auto yFor = [&](double db) { return plot.center().y() - db / half * plot.height() / 2.0; };

    // Frequency grid: decades and their 2 and 5 in the passband, every kHz in the transition.
    std::vector<double> ticks;
    if (nyquistStyle) {
        for (double f = 18000.0; f <= fMax; f += 1000.0) {
            ticks.push_back(f);
        }
    } else {
        for (double decade = 10.0; decade <= fMax; decade *= 10.0) {
            for (const double m : {1.0, 2.0, 5.0}) {
                if (decade * m >= fMin && decade * m <= fMax) {
                    ticks.push_back(decade * m);
                }
            }
        }
    }
    painter.setFont([&] {
        QFont f = painter.font();
        f.setPointSizeF(7.0);
        return f;
    }());
    for (const double f : ticks) {
        const double x = xFor(f);
        painter.setPen(QPen(Theme::line, 0.6, Qt::DotLine));
        painter.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
        painter.setPen(Theme::dimText);
        painter.drawText(QRectF(x - 20, plot.bottom() + 1, 40, 12), Qt::AlignHCenter | Qt::AlignTop,
                         frequencyLabel(f));
    }
    // Level scale: the top, the zero line and the bottom.
    for (const double db : {half, 0.0, -half}) {
        const double y = yFor(db);
        painter.setPen(db == 0.0 ? QPen(Theme::dimText, 0.8) : QPen(Theme::line, 0.6, Qt::DotLine));
        painter.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
        painter.setPen(Theme::dimText);
        painter.drawText(QRectF(area.left(), y - 6, 40, 12), Qt::AlignRight | Qt::AlignVCenter,
                         decibelLabel(db, half));
    }
    // The units stand on the title line, clear of every tick label.
    painter.drawText(QRectF(area.left() + 4, area.top(), area.width() - 8, 14),
                     Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("dB against Hz"));

    QPainterPath path;
    for (std::size_t i = 0; i < curve->frequencies.size(); ++i) {
        const QPointF point(xFor(curve->frequencies[i]), yFor(curve->differences[i]));
        if (i == 0) {
            path.moveTo(point);
        } else {
            path.lineTo(point);
        }
    }
    painter.save();
    painter.setClipRect(plot);
    painter.setPen(QPen(Theme::accent, 1.6));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
    painter.restore();
}

} // namespace orvane::app
