#include "editor/WallpaperGridModel.h"

#include <QMetaObject>
#include <optional>
#include <utility>

#include "render/CanvasBackground.h"
#include "render/WallpaperOptions.h"

namespace varnelle {
namespace {

constexpr double kSide = 38;  // points
constexpr double kScale = 2;

std::span<const MacOSWallpaperOption> options(WallpaperGridModel::Category category) {
    return category == WallpaperGridModel::Category::Images ? wallpaperImages() : wallpaperGradients();
}

const MacOSWallpaperOption& option(WallpaperGridModel::Category category, int row) {
    return options(category)[static_cast<std::size_t>(row)];
}

QImage imageOf(const std::optional<Bitmap>& bitmap) {
    if (!bitmap) return {};
    const BitmapView& view = bitmap->view();
    return QImage(view.data, view.width, view.height, view.bytesPerRow, QImage::Format_ARGB32_Premultiplied)
        .copy();
}

}  // namespace

WallpaperGridModel::WallpaperGridModel(LookEditing& editing) : editing_(editing) {}

WallpaperGridModel::~WallpaperGridModel() {
    isGone_ = true;
}

void WallpaperGridModel::setActiveCategory(Category category) {
    if (activeCategory_ == category) return;
    beginResetModel();
    activeCategory_ = category;
    endResetModel();
    emit activeCategoryChanged();
    if (showsPictures_) loadPictures();
}

void WallpaperGridModel::loadPictures() {
    showsPictures_ = true;
    for (const MacOSWallpaperOption& shown : options(activeCategory_)) {
        const std::string path(shown.path);
        if (!pictures_.try_emplace(path).second) continue;
        queue_.async([this, path] {
            if (isGone_) return;
            const QImage made = imageOf(wallpaperPreview(path, kSide, kSide, kScale));
            QMetaObject::invokeMethod(this, [this, path, made] { pictureIsMade(path, made); });
        });
    }
}

void WallpaperGridModel::choose(int row) {
    if (row < 0 || row >= rowCount()) return;
    OverlayConfiguration look = editing_.look();
    look.canvasBackgroundStyle = CanvasBackgroundStyle::macOSWallpaper;
    look.wallpaperPath = std::string(option(activeCategory_, row).path);
    editing_.commitLook(std::move(look));
}

void WallpaperGridModel::showCategoryOfLook() {
    const bool isGradient = editing_.look().wallpaperPath.starts_with("procedural://");
    setActiveCategory(isGradient ? Category::Gradients : Category::Images);
}

void WallpaperGridModel::update() {
    const OverlayConfiguration& look = editing_.look();
    const bool hasWallpaper = look.canvasBackgroundStyle == CanvasBackgroundStyle::macOSWallpaper;
    const std::string& path =
        look.wallpaperPath.empty() ? std::string(kDefaultWallpaperPath) : look.wallpaperPath;
    const std::string chosen = hasWallpaper ? path : std::string();
    if (std::exchange(chosenPath_, chosen) != chosen && rowCount() > 0)
        emit dataChanged(index(0), index(rowCount() - 1), {IsChosenRole});
}

int WallpaperGridModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(options(activeCategory_).size());
}

QVariant WallpaperGridModel::data(const QModelIndex& index, int role) const {
    const MacOSWallpaperOption& shown = option(activeCategory_, index.row());
    switch (role) {
        case NameRole:
            return QString::fromUtf8(shown.name.data(), static_cast<qsizetype>(shown.name.size()));
        case PictureRole:
            return pictureOf(shown.path);
        case IsChosenRole:
            return shown.path == chosenPath_;
        default:
            return {};
    }
}

QHash<int, QByteArray> WallpaperGridModel::roleNames() const {
    return {{NameRole, "name"}, {PictureRole, "picture"}, {IsChosenRole, "isChosen"}};
}

QImage WallpaperGridModel::pictureOf(std::string_view path) const {
    const auto known = pictures_.find(std::string(path));
    return known == pictures_.end() ? QImage() : known->second;
}

void WallpaperGridModel::pictureIsMade(const std::string& path, const QImage& picture) {
    pictures_[path] = picture;
    for (int row = 0; row < rowCount(); ++row) {
        if (option(activeCategory_, row).path == path)
            emit dataChanged(index(row), index(row), {PictureRole});
    }
}

}  // namespace varnelle
