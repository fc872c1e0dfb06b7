#include "svg_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

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
    for (const char c : text) {
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

double svg_axes::y(double value) const {
    const double share = logarithmic ? std::log(y_max / value) / std::log(y_max / y_min)
                                     : (y_max - value) / (y_max - y_min);
    return top + share * height;
}

double svg_axes::y_value(double pixel) const {
    const double share = (pixel - top) / height;
    return logarithmic ? y_max * std::pow(y_min / y_max, share) : y_max - share * (y_max - y_min);
}

void svg_axes::draw(svg_picture* picture, double x_step, double y_step, const std::string& x_name,
                    const std::string& y_name) const {
    constexpr double kFigureRoom = 16;
    for (double v = std::ceil(x_min / x_step) * x_step; v <= x_max + x_step / 1000; v += x_step) {
        picture->line(x(v), top, x(v), top + height, "#cccccc");
        picture->text(x(v), top + height + kFigureRoom,
                      number(std::fabs(v) < x_step / 1000 ? 0 : v), "middle");
    }
    const auto line_at = [&](double v) {
        picture->line(left, y(v), left + width, y(v), "#cccccc");
        picture->text(left - 6, y(v) + 4, number(v), "end");
    };
    if (logarithmic) {
        for (double power = 1; power <= y_max; power *= 10) {
            for (const double v : {power, 2 * power, 5 * power}) {
                if (v >= y_min && v <= y_max) {
                    line_at(v);
                }
            }
        }
    } else {
        for (double v = std::ceil(y_min / y_step) * y_step; v <= y_max + y_step / 1000;
             v += y_step) {
            line_at(std::fabs(v) < y_step / 1000 ? 0 : v);
        }
    }
    picture->text(left + width / 2, top + height + 2 * kFigureRoom, x_name, "middle");
    picture->text(left, top - 6, y_name);
}

std::string heat_colour(double share) {
    const double s = std::clamp(share, 0.0, 1.0);
    const auto part = [&](double from, double to) {
        return static_cast<int>(255 * std::clamp((s - from) / (to - from), 0.0, 1.0));
    };
    char text[8];
    std::snprintf(text, sizeof(text), "#%02x%02x%02x", part(0.25, 0.65), part(0.55, 1.0),
                  s < 0.4   ? part(0.0, 0.4) / 2
                  : s < 0.8 ? 127 - part(0.4, 0.8) / 2
                            : part(0.8, 1.0));
    return text;
}
