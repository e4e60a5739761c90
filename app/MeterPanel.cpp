#include "app/MeterPanel.h"

#include "app/Theme.h"
#include "monitoring/Metering.h"
#include "platform/MainLoop.h"
#include "workspace/AppSettings.h"

#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <functional>

namespace orvane::app {

namespace {

// A widget that paints through a function, so each meter is one lambda over its model's state.
class PaintedView final : public QWidget {
  public:
    using Painter = std::function<void(QPainter&, const QRect&)>;
    PaintedView(Painter paint, int fixedHeight) : paint_(std::move(paint)) {
        setFixedHeight(fixedHeight);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }
    std::function<void()> onClick;

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), Theme::panel);
        paint_(painter, rect().adjusted(6, 4, -6, -4));
    }
    void mousePressEvent(QMouseEvent*) override {
        if (onClick) {
            onClick();
        }
    }

  private:
    Painter paint_;
};

QColor levelColour(float position) {
    if (position > 0.93f) {
        return QColor(0xf0, 0x4a, 0x3e);
    }
    if (position > 0.7f) {
        return QColor(0xf0, 0xc0, 0x40);
    }
    return QColor(0x4c, 0xd0, 0x7a);
}

QLabel* caption(const QString& text) {
    auto* label = new QLabel(text);
    label->setStyleSheet(QStringLiteral("color: #8a919b; font-size: 8pt; letter-spacing: 1px;"));
    return label;
}

} // namespace

MeterPanel::MeterPanel(Metering& metering, MainLoop& loop, AppSettings& settings, QWidget* parent)
    : QWidget(parent), metering_(metering), settings_(settings) {
    setObjectName(QStringLiteral("meters"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(4);

    auto* levels = new PaintedView(
        [this](QPainter& painter, const QRect& area) {
            const auto& state = vu_->state();
            const int lampWidth = 14;
            const int barHeight = (area.height() - 6) / 2;
            for (int c = 0; c < 2; ++c) {
                const QRect bar(area.left(), area.top() + c * (barHeight + 6), area.width() - lampWidth - 6,
                                barHeight);
                painter.fillRect(bar, Theme::background);
                const int segments = VUMeterModel::segmentCount;
                const double segmentWidth = static_cast<double>(bar.width()) / segments;
                for (int s = 0; s < segments; ++s) {
                    const float lit = state.segs[c][s];
                    if (lit <= 0.01f) {
                        continue;
                    }
                    QColor colour = levelColour(static_cast<float>(s) / segments);
                    colour.setAlphaF(std::clamp(lit, 0.0f, 1.0f));
                    painter.fillRect(QRectF(bar.left() + s * segmentWidth + 0.5, bar.top() + 1,
                                            segmentWidth - 1.0, bar.height() - 2),
                                     colour);
                }
                const double peakX = bar.left() + state.peak[c] * bar.width();
                QColor marker = Qt::white;
                marker.setAlphaF(std::clamp(state.peakAlpha[c], 0.0f, 1.0f));
                painter.fillRect(QRectF(peakX - 1, bar.top(), 2, bar.height()), marker);
                const QRect lamp(bar.right() + 6, bar.top(), lampWidth, bar.height());
                QColor lampColour(0xf0, 0x4a, 0x3e);
                lampColour.setAlphaF(0.18f + 0.82f * std::clamp(state.clipGlow[c], 0.0f, 1.0f));
                painter.fillRect(lamp, lampColour);
            }
        },
        34);
    levels_ = levels;

    auto* loudness = new QLabel(QString::fromUtf8(VUMeterModel::noLufsText));
    loudness->setObjectName(QStringLiteral("rtLufs"));
    loudness->setStyleSheet(QStringLiteral("color: #d8dce2; font-size: 11pt; font-weight: 600;"));
    loudness->setToolTip(QStringLiteral("Running integrated loudness; click to reset"));
    loudness_ = loudness;

    auto* spectrum = new PaintedView(
        [this](QPainter& painter, const QRect& area) {
            painter.fillRect(area, Theme::background);
            // Level grid at quarter heights, so the scale reads even at rest.
            painter.setPen(QPen(Theme::line, 1, Qt::DotLine));
            for (int q = 1; q < 4; ++q) {
                const int y = area.top() + area.height() * q / 4;
                painter.drawLine(area.left(), y, area.right(), y);
            }
            const auto& state = spectrumModel_->state();
            const double bandWidth = static_cast<double>(area.width()) / SpectrumModel::bandCount;
            for (int b = 0; b < SpectrumModel::bandCount; ++b) {
                const double level = std::clamp(state.levels[b], 0.0f, 1.0f);
                const double h = level * area.height();
                QLinearGradient gradient(0, area.bottom(), 0, area.top());
                gradient.setColorAt(0.0, QColor(0x2f, 0x7d, 0xc4));
                gradient.setColorAt(1.0, QColor(0x7d, 0xd3, 0xf7));
                painter.fillRect(
                    QRectF(area.left() + b * bandWidth + 0.5, area.bottom() - h, bandWidth - 1.0, h),
                    gradient);
            }
        },
        90);
    spectrum_ = spectrum;
    spectrumModel_ = std::make_unique<SpectrumModel>(&metering_, [spectrum] { spectrum->update(); });

    auto* correlation = new PaintedView(
        [this](QPainter& painter, const QRect& area) {
            painter.fillRect(area, Theme::background);
            const double centre = area.left() + area.width() / 2.0;
            painter.setPen(Theme::line);
            painter.drawLine(QPointF(centre, area.top()), QPointF(centre, area.bottom()));
            const double value = std::clamp(correlationModel_->state().value, -1.0f, 1.0f);
            const double x = centre + value * area.width() / 2.0;
            painter.fillRect(
                QRectF(std::min(centre, x), area.top() + 2, std::abs(x - centre), area.height() - 4),
                value < 0 ? QColor(0xf0, 0x4a, 0x3e) : QColor(0x4c, 0xd0, 0x7a));
        },
        18);
    correlation_ = correlation;
    correlationModel_ =
        std::make_unique<CorrelationModel>(&metering_, [correlation] { correlation->update(); });

    auto* levelsBox = new QWidget;
    auto* levelsLayout = new QVBoxLayout(levelsBox);
    levelsLayout->setContentsMargins(0, 0, 0, 0);
    levelsLayout->addWidget(caption(QStringLiteral("LEVEL  L / R")));
    levelsLayout->addWidget(levels);
    layout->addWidget(levelsBox);
    auto* loudnessBox = new QWidget;
    auto* loudnessLayout = new QVBoxLayout(loudnessBox);
    loudnessLayout->setContentsMargins(0, 0, 0, 0);
    loudnessLayout->addWidget(caption(QStringLiteral("INTEGRATED LUFS")));
    loudnessLayout->addWidget(loudness);
    layout->addWidget(loudnessBox);
    auto* spectrumBox = new QWidget;
    auto* spectrumLayout = new QVBoxLayout(spectrumBox);
    spectrumLayout->setContentsMargins(0, 0, 0, 0);
    spectrumLayout->addWidget(caption(QStringLiteral("SPECTRUM")));
    spectrumLayout->addWidget(spectrum);
    layout->addWidget(spectrumBox);
    auto* correlationBox = new QWidget;
    auto* correlationLayout = new QVBoxLayout(correlationBox);
    correlationLayout->setContentsMargins(0, 0, 0, 0);
    correlationLayout->addWidget(caption(QStringLiteral("CORRELATION  \u22121 \u2026 +1")));
    correlationLayout->addWidget(correlation);
    layout->addWidget(correlationBox);
    levels_ = levelsBox;
    loudness_ = loudnessBox;
    spectrum_ = spectrumBox;
    correlation_ = correlationBox;

    // The readout follows the model's text on every level redraw.
    vu_ = std::make_unique<VUMeterModel>(&metering_, [this, levels, loudness] {
        levels->update();
        loudness->setText(QString::fromStdString(vu_->state().lufsText));
    });
    levels->onClick = [this] { vu_->resetLufs(); };

    vu_->start(loop);
    spectrumModel_->start(loop);
    correlationModel_->start(loop);
    applySettings();
}

MeterPanel::~MeterPanel() {
    vu_->stop();
    spectrumModel_->stop();
    correlationModel_->stop();
}

void MeterPanel::applySettings() {
    levels_->setVisible(settings_.showVUMeter());
    loudness_->setVisible(settings_.showRTLufs());
    spectrum_->setVisible(settings_.showSpectrum());
    correlation_->setVisible(settings_.showCorrelation());
    vu_->setShowLufs(settings_.showRTLufs());
    metering_.syncMeterTapFlags();
}

} // namespace orvane::app
