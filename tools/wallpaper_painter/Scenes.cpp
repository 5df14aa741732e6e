#include "wallpaper_painter/Scenes.h"

#include <array>

#include "wallpaper_painter/SceneFunctions.h"

namespace varnelle::painter {

std::span<const Scene> scenes() {
    static constexpr std::array kScenes{
        Scene{"energy-19", paintEnergy19},
        Scene{"farmvalley", paintFarmvalley},
        Scene{"glassmorphism-3", paintGlassmorphism3},
        Scene{"glassmorphism-4", paintGlassmorphism4},
        Scene{"iridescent-9", paintIridescent9},
        Scene{"levels", paintLevels},
        Scene{"riverlight", paintRiverlight},
        Scene{"midnight-8", paintMidnight8},
        Scene{"mountaintrees", paintMountaintrees},
        Scene{"sequoia-blue-orange", paintSequoiaBlueOrange},
        Scene{"sequoia-blue", paintSequoiaBlue},
        Scene{"sonoma-clouds", paintSonomaClouds},
        Scene{"sonoma-dark", paintSonomaDark},
        Scene{"sonoma-evening", paintSonomaEvening},
        Scene{"sonoma-horizon", paintSonomaHorizon},
        Scene{"sonoma-light", paintSonomaLight},
        Scene{"tahoe-dark", paintTahoeDark},
        Scene{"tahoe-light", paintTahoeLight},
        Scene{"ventura-dark", paintVenturaDark},
        Scene{"ventura", paintVentura},
        Scene{"wallpaper3", paintWallpaper3},
        Scene{"wallpaper4", paintWallpaper4},
        Scene{"wallpaper7", paintWallpaper7},
        Scene{"wallpaper10", paintWallpaper10},
        Scene{"wallpaper13", paintWallpaper13},
    };
    return kScenes;
}

}  // namespace varnelle::painter
