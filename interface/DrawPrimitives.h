#pragma once
// What the drawing logic hands the painter: points, rectangles, polylines, colours and texts,
// all in the canvas's own points. Plain values; any thread.

#include <string>
#include <vector>

namespace orvane {

struct Point {
    double x = 0.0;
    double y = 0.0;
    bool operator==(const Point&) const = default;
};

struct Rect {
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;

    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    double midX() const { return x + 0.5 * width; }
    bool contains(Point p) const { return p.x >= x && p.x <= maxX() && p.y >= y && p.y <= maxY(); }
    bool operator==(const Rect&) const = default;
};

// A colour with straight (not premultiplied) alpha, each part 0...1.
struct Rgba {
    float r = 0.0f;
    float g = 0.0f;
    float b = 0.0f;
    float a = 1.0f;
    bool operator==(const Rgba&) const = default;
};

using Polyline = std::vector<Point>;

// A closed outline of four corners, in order around it.
struct Quad {
    Point corners[4];
    bool operator==(const Quad&) const = default;
};

struct TextItem {
    std::string text;
    Point origin; // left end of the text's baseline
    Rgba color;
    bool operator==(const TextItem&) const = default;
};

} // namespace orvane
