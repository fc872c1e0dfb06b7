#pragma once

#include <string>
#include <utility>
#include <vector>

/// A picture as SVG text. Positions and sizes in pixels from the top left corner.
class svg_picture {
  public:
    svg_picture(double width, double height);

    void rect(double x, double y, double width, double height, const std::string& fill);
    void line(double x1, double y1, double x2, double y2, const std::string& stroke,
              bool dashed = false);
    void polyline(const std::vector<std::pair<double, double>>& points, const std::string& stroke);
    /// `anchor`: "start", "middle" or "end" of the text stands at x.
    void text(double x, double y, const std::string& words, const char* anchor = "start");
    /// Names the file on the standard output. Throws when it cannot be written.
    void save(const std::string& path) const;

  private:
    std::string body;
};

/// A rectangle of a picture with a linear scale on each axis.
struct svg_axes {
    double left, top, width, height;
    double x_min, x_max, y_min, y_max;

    double x(double value) const { return left + (value - x_min) / (x_max - x_min) * width; }
    double y(double value) const { return top + (y_max - value) / (y_max - y_min) * height; }
    /// Grid lines at each step, their figures, and what the axes are.
    void draw(svg_picture* picture, double x_step, double y_step, const std::string& x_name,
              const std::string& y_name) const;
};
