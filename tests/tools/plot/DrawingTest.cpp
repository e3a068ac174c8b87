/// \file
/// Figures as SVG and as characters, whole.
#include "plot/BrailleCanvas.h"
#include "plot/SvgFigure.h"
#include "plot/SvgText.h"
#include "plot/TerminalFigure.h"

#include <gtest/gtest.h>
#include <limits>

namespace rksignal {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t s = 1'000'000'000;

/// Ten seconds: a speed with a gap, and a switch with a short "On".
Figure smallFigure() {
    Figure figure;
    figure.title = "a.log";
    figure.to = 10 * s;
    figure.times = {TimeStyle::Relative, 0};
    FigureTrack speed;
    speed.name = "Speed";
    speed.unit = "km/h";
    speed.kind = CurveKind::Line;
    speed.points = {{0, 0}, {4 * s, 100}, {5 * s, none}, {7 * s, 100}, {10 * s, 0}};
    speed.greatest = 100;
    FigureTrack lid;
    lid.name = "Lid";
    lid.kind = CurveKind::States;
    lid.points = {{0, 0}, {6 * s, 1}, {6 * s + 1, 0}, {8 * s, 2}, {9 * s, none}};
    lid.states = {{0, "Off"}, {1, "On"}, {2, "開"}};
    figure.panels = {{{speed}}, {{lid}}};
    figure.lanes.push_back({"fast", 1, {{3 * s, 5 * s}}});
    return figure;
}

TEST(TerminalFigure, DrawsBandsCurvesGapsAndConditions) {
    const Figure figure = smallFigure();
    EXPECT_EQ(terminalDrawing(figure, {44, 4}, {}), R"(a.log
fast                                      1x
   │            ▬▬▬▬▬▬▬▬▬
Speed                           0 … 100 km/h
100┤            ┊⣀⡠⠔⠂    ░░░░░░⠐⠤⣀
   │        ⢀⡠⠔⠒⠉        ░░░░░░░  ⠉⠒⠤⡀
   │   ⢀⡠⠤⠒⠉⠁   ┊        ░░░░░░░     ⠈⠑⠢⢄⡀
  0┤⠤⠒⠉⠁        ┊        ░░░░░░░         ⠈⠑⠢
Lid
   ││Off────────────────────││Off───│開─░░░░
   └┴───────────────────┴──────────────────┴
    0                   5                 10
time in s since 1970-01-01 00:00:00.000 UTC
)");
    EXPECT_EQ(terminalDrawing(figure, {44, 2}, {.unicode = false, .colours = false}), R"(a.log
fast                                      1x
   |            =========
Speed                          0 to 100 km/h
100+        .....''''    ~~~~~~''':...
  0+...:'''''   !        ~~~~~~~     ''''...
Lid
   ||Off--------------------||Off---|開-~~~~
   ++-------------------+------------------+
    0                   5                 10
time in s since 1970-01-01 00:00:00.000 UTC
)");
}

TEST(BrailleCanvas, DotsAreThoseOfUnicode) {
    BrailleCanvas canvas(3, 1);
    canvas.draw({0, 0}, {3, 3}, 1);
    canvas.set({4, 3}, 2);
    canvas.set({5, 0}, 2);
    EXPECT_EQ(canvas.braille(0, 0) + canvas.braille(1, 0) + canvas.braille(2, 0), "⠑⢄⡈");
    EXPECT_EQ(std::string({canvas.ascii(0, 0), canvas.ascii(1, 0), canvas.ascii(2, 0)}), "'.:");
}

TEST(SvgPath, LeavesOutWhatLiesOnALine) {
    SvgPath path;
    path.moveTo(10, 20.04);
    path.lineTo(12, 21);
    path.lineTo(14, 22);   // goes on
    path.lineTo(13, 21.5); // comes back
    path.lineTo(13, 30);
    path.lineTo(13.5, 30.25);
    path.moveTo(1, 1);
    path.lineTo(1, 1); // a dot
    EXPECT_EQ(path.finish(), "m10 20l4 2-1-.5v8.5l.5.3m-12.5-29.3h0");
    EXPECT_TRUE(path.isEmpty());
}

TEST(SvgFigure, IsTheWholePicture) {
    const std::string head = R"(<svg xmlns="http://www.w3.org/2000/svg" width="300" height="278")"
                             R"( viewBox="0 0 300 278" role="img" font-family="sans-serif" font-size="11">
<title>a.log</title>
<desc>From 0.000000 to 10.000000, time in s since 1970-01-01 00:00:00.000 UTC: Speed, 0 to 100 km/h;)"
                             R"( Lid, Off On 開.</desc>
<style>)";
    const std::string body = R"(</style>
<rect class="paper" x="0" y="0" width="300" height="278"/>
<text x="44" y="18" class="n">a.log</text>
<text x="44" y="40">fast</text>
<text x="280" y="40" class="m" text-anchor="end">1×</text>
<rect class="gap" x="44" y="44" width="236" height="7"/>
<rect class="f1" x="114.8" y="44" width="47.2" height="7"/>
<rect class="gap" x="162" y="76" width="47.2" height="112"/>
<path class="grid" d="m44 76v112m236-112v112m-236-4.1h236m-236-51.9h236m-236-51.9h236"/>
<text x="38" y="187.9" class="m" text-anchor="end">0</text>
<text x="38" y="136" class="m" text-anchor="end">50</text>
<text x="38" y="84.1" class="m" text-anchor="end">100</text>
<rect class="when f1" x="114.8" y="76" width="47.2" height="112"/>
<path class="when c1" d="m114.8 76v112"/>
<path class="line c0" d="m44 183.9l94.4-103.8m70.8 0l70.8 103.8"/>
<rect class="frame" x="44" y="76" width="236" height="112"/>
<text x="44" y="68">Speed</text>
<text x="280" y="68" class="m" text-anchor="end">0 to 100 km/h</text>
<rect class="gap" x="256.4" y="218" width="23.6" height="20"/>
<rect class="b0" x="44" y="218" width="141.6" height="20"/>
<rect class="b0" x="185.6" y="218" width="47.2" height="20"/>
<rect class="b2" x="232.8" y="218" width="23.6" height="20"/>
<rect class="b1" x="185.1" y="218" width="1" height="20"/>
<path class="frame" d="m185.6 218v20m47.2-20v20"/>
<path class="when c1" d="m114.8 218v20"/>
<text x="114.8" y="232" text-anchor="middle">Off</text>
<text x="209.2" y="232" text-anchor="middle">Off</text>
<text x="244.6" y="232" text-anchor="middle">開</text>
<rect class="frame" x="44" y="218" width="236" height="20"/>
<text x="44" y="210">Lid</text>
<rect class="b0" x="164.8" y="202" width="9" height="9"/>
<text x="177.8" y="210" class="m">Off</text>
<rect class="b1" x="207.6" y="202" width="9" height="9"/>
<text x="220.6" y="210" class="m">On</text>
<rect class="b2" x="243.8" y="202" width="9" height="9"/>
<text x="256.8" y="210" class="m">開</text>
<text x="44" y="253" class="m" text-anchor="middle">0</text>
<text x="280" y="253" class="m" text-anchor="middle">10</text>
<text x="162" y="269" class="m" text-anchor="middle">time in s since 1970-01-01 00:00:00.000 UTC</text>
</svg>
)";
    const std::string picture = svgOf(smallFigure(), {300, 0}, lightTheme).text;
    EXPECT_EQ(picture.substr(0, head.size()), head);
    EXPECT_EQ(picture.substr(std::min(picture.size(), picture.find("</style>"))), body);
}

} // namespace
} // namespace rksignal
