#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QImage>
#include <atomic>
#include <map>
#include <string>
#include <string_view>

#include "editor/InspectorRows.h"
#include "foundation/Queue.h"

namespace varnelle {

/// The wallpapers of one category to choose from. Main thread.
class WallpaperGridModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the inspector")
    Q_PROPERTY(
        Category activeCategory READ activeCategory WRITE setActiveCategory NOTIFY activeCategoryChanged)
    Q_PROPERTY(int count READ count NOTIFY activeCategoryChanged)
    Q_PROPERTY(QStringList categories READ categories CONSTANT)

public:
    // Capitals, without which QML doesn't see them.
    enum class Category { Images, Gradients };
    Q_ENUM(Category)
    enum Role {
        NameRole = Qt::UserRole,  ///< "name", string
        PictureRole,              ///< "picture", image; null until it has been made
        IsChosenRole,             ///< "isChosen", bool
    };

    /// `editing` must outlive the object.
    explicit WallpaperGridModel(LookEditing& editing);
    ~WallpaperGridModel() override;

    [[nodiscard]] Category activeCategory() const { return activeCategory_; }
    void setActiveCategory(Category category);
    [[nodiscard]] static QStringList categories() { return {"Images", "Gradients"}; }
    [[nodiscard]] int count() const { return rowCount(); }
    /// Makes the pictures of the shown category, and from then on those of each one that is shown, in the
    /// background.
    Q_INVOKABLE void loadPictures();
    /// Makes a wallpaper the background: one undo step.
    Q_INVOKABLE void choose(int row);

    /// Shows the category that a project's wallpaper is of.
    void showCategoryOfLook();
    /// Takes the choice from the look.
    void update();

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

signals:
    void activeCategoryChanged();

private:
    [[nodiscard]] QImage pictureOf(std::string_view path) const;
    void pictureIsMade(const std::string& path, const QImage& picture);

    LookEditing& editing_;
    Category activeCategory_ = Category::Images;
    std::string chosenPath_;
    bool showsPictures_ = false;
    std::map<std::string, QImage> pictures_;  ///< by path; null while they are being made
    std::atomic<bool> isGone_{false};
    SerialQueue queue_{"com.varnelle.wallpapers"};
};

}  // namespace varnelle
