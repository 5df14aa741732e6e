#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QQuickPaintedItem>
#include <QString>

namespace varnelle {

/// One drawing of the program's icon set in one colour, crisp at any size and scale. A name without a drawing
/// is logged once and leaves the place empty.
class IconItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(Icon)
    /// The symbol's name, such as "video.slash".
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    /// The colour at the lower edge, where it isn't one colour throughout.
    Q_PROPERTY(QColor lowerColor READ lowerColor WRITE setLowerColor NOTIFY colorChanged)
    /// Width and height of the drawing in points.
    Q_PROPERTY(double size READ size WRITE setSize NOTIFY sizeChanged)

public:
    explicit IconItem(QQuickItem* parent = nullptr);

    [[nodiscard]] const QString& name() const { return name_; }
    void setName(const QString& name);
    [[nodiscard]] QColor color() const { return color_; }
    void setColor(const QColor& color);
    [[nodiscard]] QColor lowerColor() const { return lowerColor_.isValid() ? lowerColor_ : color_; }
    void setLowerColor(const QColor& color);
    [[nodiscard]] double size() const { return implicitWidth(); }
    void setSize(double size);

    void paint(QPainter* painter) override;

signals:
    void nameChanged();
    void colorChanged();
    void sizeChanged();

private:
    QString name_;
    QColor color_ = Qt::white;
    QColor lowerColor_;
};

}  // namespace varnelle
