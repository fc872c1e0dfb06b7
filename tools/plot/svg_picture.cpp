#include "svg_picture.h"

#include <fmt/format.h>

#include <cmath>

#include "command_end.h"
#include "valid_utf8.h"

namespace {

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : valid_utf8(text)) {
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    }
    return out;
}

}  // namespace

svg_picture::svg_picture(double width, double height)
    : body(fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{:.5g}\" "
                       "height=\"{:.5g}\" font-family=\"sans-serif\" font-size=\"12\" "
                       "shape-rendering=\"crispEdges\">\n",
                       width, height)) {
    rect(0, 0, width, height, "#ffffff");
}

void svg_picture::rect(double x, double y, double w, double h, const std::string& fill) {
    body += fmt::format(
        "<rect x=\"{:.5g}\" y=\"{:.5g}\" width=\"{:.5g}\" height=\"{:.5g}\" fill=\"{}\"/>\n", x, y,
        w, h, fill);
}

void svg_picture::line(double x1, double y1, double x2, double y2, const std::string& stroke,
                       bool dashed) {
    body += fmt::format(
        "<line x1=\"{:.5g}\" y1=\"{:.5g}\" x2=\"{:.5g}\" y2=\"{:.5g}\" stroke=\"{}\"{}/>\n", x1, y1,
        x2, y2, stroke, dashed ? " stroke-dasharray=\"6 4\"" : "");
}

void svg_picture::polyline(const std::vector<std::pair<double, double>>& points,
                           const std::string& stroke) {
    body += fmt::format("<polyline fill=\"none\" stroke=\"{}\" points=\"", stroke);
    for (const auto& [x, y] : points) {
        body += fmt::format("{:.5g},{:.5g} ", x, y);
    }
    body += "\"/>\n";
}

void svg_picture::text(double x, double y, const std::string& words, const char* anchor) {
    body += fmt::format("<text x=\"{:.5g}\" y=\"{:.5g}\" text-anchor=\"{}\">{}</text>\n", x, y,
                        anchor, escaped(words));
}

void svg_picture::save(const std::string& path) const {
    replace_file(path, body + "</svg>\n");
    fmt::print("{}\n", path);
}

void svg_axes::draw(svg_picture* picture, double x_step, double y_step, const std::string& x_name,
                    const std::string& y_name) const {
    constexpr double kFigureRoom = 16;
    const auto figure = [](double value, double step) {
        return fmt::format("{:.5g}", std::fabs(value) < step / 1000 ? 0 : value);
    };
    for (double v = std::ceil(x_min / x_step) * x_step; v <= x_max + x_step / 1000; v += x_step) {
        picture->line(x(v), top, x(v), top + height, "#cccccc");
        picture->text(x(v), top + height + kFigureRoom, figure(v, x_step), "middle");
    }
    for (double v = std::ceil(y_min / y_step) * y_step; v <= y_max + y_step / 1000; v += y_step) {
        picture->line(left, y(v), left + width, y(v), "#cccccc");
        picture->text(left - 6, y(v) + 4, figure(v, y_step), "end");
    }
    picture->text(left + width / 2, top + height + 2 * kFigureRoom, x_name, "middle");
    picture->text(left, top - 6, y_name);
}
