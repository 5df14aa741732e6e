#pragma once

#include "wallpaper_painter/Canvas.h"

/// One function per picture, each in the source named after its subject.
namespace varnelle::painter {

void paintEnergy19(Canvas& canvas);
void paintFarmvalley(Canvas& canvas);
void paintGlassmorphism3(Canvas& canvas);
void paintGlassmorphism4(Canvas& canvas);
void paintIridescent9(Canvas& canvas);
void paintLevels(Canvas& canvas);
void paintRiverlight(Canvas& canvas);
void paintMidnight8(Canvas& canvas);
void paintMountaintrees(Canvas& canvas);
void paintSequoiaBlueOrange(Canvas& canvas);
void paintSequoiaBlue(Canvas& canvas);
void paintSonomaClouds(Canvas& canvas);
void paintSonomaDark(Canvas& canvas);
void paintSonomaEvening(Canvas& canvas);
void paintSonomaHorizon(Canvas& canvas);
void paintSonomaLight(Canvas& canvas);
void paintTahoeDark(Canvas& canvas);
void paintTahoeLight(Canvas& canvas);
void paintVenturaDark(Canvas& canvas);
void paintVentura(Canvas& canvas);
void paintWallpaper3(Canvas& canvas);
void paintWallpaper4(Canvas& canvas);
void paintWallpaper7(Canvas& canvas);
void paintWallpaper10(Canvas& canvas);
void paintWallpaper13(Canvas& canvas);

}  // namespace varnelle::painter
