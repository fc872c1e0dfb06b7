#include "svg_picture.h"

#include <cmath>
#include <cstdio>
#include <fstream>

#include "json_value.h"

namespace {

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.5g", value);
    return text;
}

std::string attribute(const char* name, double value) {
    return std::string(" ") + name + "=\"" + number(value) + '"';
}

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : valid_utf8(text)) {
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    }
    return out;
}

}  // namespace

svg_picture::svg_picture(double w, double h) : width(w), height(h) {
    rect(0, 0, w, h, "#ffffff");
}

void svg_picture::rect(double x, double y, double w, double h, const std::string& fill) {
    body += "<rect" + attribute("x", x) + attribute("y", y) + attribute("width", w) +
            attribute("height", h) + " fill=\"" + fill + "\"/>\n";
}

void svg_picture::line(double x1, double y1, double x2, double y2, const std::string& stroke,
                       bool dashed) {
    body += "<line" + attribute("x1", x1) + attribute("y1", y1) + attribute("x2", x2) +
            attribute("y2", y2) + " stroke=\"" + stroke + '"' +
            (dashed ? " stroke-dasharray=\"6 4\"" : "") + "/>\n";
}

void svg_picture::polyline(const std::vector<std::pair<double, double>>& points,
                           const std::string& stroke) {
    body += "<polyline fill=\"none\" stroke=\"" + stroke + "\" points=\"";
    for (const auto& [x, y] : points) {
        body += number(x) + ',' + number(y) + ' ';
    }
    body += "\"/>\n";
}

void svg_picture::text(double x, double y, const std::string& words, const char* anchor) {
    body += "<text" + attribute("x", x) + attribute("y", y) + " text-anchor=\"" + anchor + "\">" +
            escaped(words) + "</text>\n";
}

bool svg_picture::save(const std::string& path) const {
    std::ofstream file(path);
    file << "<svg xmlns=\"http://www.w3.org/2000/svg\"" << attribute("width", width)
         << attribute("height", height)
         << " font-family=\"sans-serif\" font-size=\"12\" shape-rendering=\"crispEdges\">\n"
         << body << "</svg>\n";
    file.close();
    return !file.fail();
}

void svg_axes::draw(svg_picture* picture, double x_step, double y_step, const std::string& x_name,
                    const std::string& y_name) const {
    constexpr double kFigureRoom = 16;
    for (double v = std::ceil(x_min / x_step) * x_step; v <= x_max + x_step / 1000; v += x_step) {
        picture->line(x(v), top, x(v), top + height, "#cccccc");
        picture->text(x(v), top + height + kFigureRoom,
                      number(std::fabs(v) < x_step / 1000 ? 0 : v), "middle");
    }
    for (double v = std::ceil(y_min / y_step) * y_step; v <= y_max + y_step / 1000; v += y_step) {
        picture->line(left, y(v), left + width, y(v), "#cccccc");
        picture->text(left - 6, y(v) + 4, number(std::fabs(v) < y_step / 1000 ? 0 : v), "end");
    }
    picture->text(left + width / 2, top + height + 2 * kFigureRoom, x_name, "middle");
    picture->text(left, top - 6, y_name);
}
