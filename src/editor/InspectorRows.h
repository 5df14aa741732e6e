#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <functional>

#include "model/OverlayModels.h"

namespace varnelle {

/// What a slider of the inspector changes, and how it shows it.
struct InspectorSliderRule {
    QString title{};
    QString systemImage{};  ///< a symbol's name
    double low = 0;
    double high = 1;
    double resetValue = 0;
    std::function<double&(OverlayConfiguration&)> field{};
    std::function<QString(double)> valueFormatter{};
};

/// A switch of the inspector.
struct InspectorToggleRule {
    QString title{};
    QString systemImage{};
    QString description{};  ///< may be empty
    std::function<bool&(OverlayConfiguration&)> field{};
};

/// Where the rows read the look and hand on what the user does with it.
class LookEditing {
public:
    virtual ~LookEditing() = default;
    /// As it is shown: with what is being dragged.
    [[nodiscard]] virtual const OverlayConfiguration& look() const = 0;
    virtual void previewLook(OverlayConfiguration look) = 0;
    /// One undo step.
    virtual void commitLook(OverlayConfiguration look) = 0;
    /// Playback rests between these.
    virtual void beginDrag() = 0;
    virtual void endDrag() = 0;
};

/// A slider's row. A drag is shown while it lasts and becomes one undo step at its end. Main thread.
class InspectorSlider : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the inspector")
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString systemImage READ systemImage CONSTANT)
    Q_PROPERTY(double from READ from CONSTANT)
    Q_PROPERTY(double to READ to CONSTANT)
    Q_PROPERTY(double value READ value NOTIFY valueChanged)
    Q_PROPERTY(QString valueText READ valueText NOTIFY valueChanged)
    Q_PROPERTY(bool isAtResetValue READ isAtResetValue NOTIFY valueChanged)

public:
    /// `editing` must outlive the object.
    InspectorSlider(InspectorSliderRule rule, LookEditing& editing, QObject* parent);

    [[nodiscard]] const QString& title() const { return rule_.title; }
    [[nodiscard]] const QString& systemImage() const { return rule_.systemImage; }
    [[nodiscard]] double from() const { return rule_.low; }
    [[nodiscard]] double to() const { return rule_.high; }
    [[nodiscard]] double value() const { return value_; }
    [[nodiscard]] QString valueText() const { return rule_.valueFormatter(value_); }
    [[nodiscard]] bool isAtResetValue() const { return value_ == rule_.resetValue; }

    /// A step of a drag; the first one begins it. Values are limited to the range.
    Q_INVOKABLE void drag(double value);
    Q_INVOKABLE void endDrag();
    Q_INVOKABLE void reset();
    /// What was dragged is gone; the rest of the drag means nothing.
    void abandonDrag() { isDragging_ = false; }

    /// Takes the value from the look.
    void update();

signals:
    void valueChanged();

private:
    [[nodiscard]] OverlayConfiguration lookWith(double value) const;

    const InspectorSliderRule rule_;
    LookEditing& editing_;
    double value_ = 0;
    bool isDragging_ = false;
};

/// A switch's row; a press is one undo step. Main thread.
class InspectorToggle : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the inspector")
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString systemImage READ systemImage CONSTANT)
    Q_PROPERTY(QString description READ description CONSTANT)
    Q_PROPERTY(bool isOn READ isOn NOTIFY isOnChanged)

public:
    /// `editing` must outlive the object.
    InspectorToggle(InspectorToggleRule rule, LookEditing& editing, QObject* parent);

    [[nodiscard]] const QString& title() const { return rule_.title; }
    [[nodiscard]] const QString& systemImage() const { return rule_.systemImage; }
    [[nodiscard]] const QString& description() const { return rule_.description; }
    [[nodiscard]] bool isOn() const { return isOn_; }

    Q_INVOKABLE void toggle();

    void update();

signals:
    void isOnChanged();

private:
    const InspectorToggleRule rule_;
    LookEditing& editing_;
    bool isOn_ = false;
};

/// Whole percents, "%.0f%%" of value × 100.
QString percentText(double value);

}  // namespace varnelle
