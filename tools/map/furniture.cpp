// SPDX-License-Identifier: MIT

#include "map/furniture.hpp"

#include "map/scale.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace lindra::tools {

namespace {

constexpr double widest_with_bar = 4e6; // metres: on wider maps no bar is right everywhere

PlaneBox grown(const PlaneBox &box, double by) {
    return {box.left - by, box.top - by, box.right + by, box.bottom + by};
}

double ends_to_middle(const PlaneBox &box, PlanePoint direction) {
    return std::fabs(direction.x) * box.width() / 2 + std::fabs(direction.y) * box.height() / 2;
}

// --- Labels ----------------------------------------------------------------------------------------------

// Beyond the end of its line, or on the line.
Inscription inscribe(const Label &label, const Page &page, double size) {
    const PlanePoint at = page.at(label.at);
    const bool on_map = label.outward.x == 0 && label.outward.y == 0;
    const Inscription text = Inscription::centred(label.text, size, at);
    const double reach = on_map ? 0 : 0.6 * size + ends_to_middle(text.box, label.outward);
    Inscription moved = Inscription::centred(
        label.text, size, {at.x + reach * label.outward.x, at.y + reach * label.outward.y});
    moved.on_map = on_map;
    return moved;
}

std::vector<Inscription> inscribe(const std::vector<Label> &labels, const Page &page, double size) {
    std::vector<Inscription> result;
    result.reserve(labels.size());
    for (const Label &label : labels)
        result.push_back(inscribe(label, page, size));
    return result;
}

// --- Scale bar -------------------------------------------------------------------------------------------

double nice_length(double most) {
    const double power = std::pow(10, std::floor(std::log10(most)));
    for (const double digit : {5, 2})
        if (digit * power <= most) return digit * power;
    return power;
}

std::string length_text(double metres) {
    char text[40];
    if (metres < 1000)
        snprintf(text, sizeof text, "%g m", metres);
    else
        snprintf(text, sizeof text, "%g km", metres / 1000);
    return text;
}

bool differs(double a, double b) {
    return std::fabs(a - b) > 0.05 * b;
}

std::string rounded_latitude(double latitude) {
    const double tenths = std::round(latitude * 10);
    return latitude_label(tenths / 10, std::fmod(tenths, 10) == 0 ? 1 : 0.1);
}

struct PlannedBar {
    double metres_of_plane; // its length
    std::string text;
};

// Where the scale is not the same all over the map, the text says where and in which direction it holds.
std::optional<PlannedBar> plan_bar(const Chart &chart, double map_width) {
    const Point place = typical_place(chart);
    const std::optional<Scale> scale = scale_at(chart, place);
    if (!scale || map_width / scale->east > widest_with_bar) return std::nullopt;
    const double length = nice_length(map_width / scale->east / 5);
    std::string text = length_text(length);
    const double tenth = (chart.window().north - chart.window().south) / 10;
    const std::optional<Scale> elsewhere = scale_at(chart, {place.lon, place.lat + 4 * tenth});
    const bool has_direction = differs(scale->north, scale->east);
    if (has_direction) text += " east to west";
    if (has_direction || (elsewhere && differs(elsewhere->east, scale->east)))
        text += " at " + rounded_latitude(place.lat);
    return PlannedBar{length * scale->east, text};
}

// --- Layout ----------------------------------------------------------------------------------------------

class Planner {
  public:
    Planner(const Chart &chart, const std::optional<PageSize> &size, const Style &style,
            const std::string &title)
        : region_(box_of(chart.region())), size_(size), style_(style), title_(title),
          page_(page_with({0, 0, 0, 0})), unit_(page_.unit()), text_size_(style.text_size * unit_),
          graticule_(make_graticule(chart, 7 * std::max(text_size_, 8.0) / page_.pixels_per_metre())),
          bar_(plan_bar(chart, region_.width())) {}

    Layout lay_out() {
        if (make_room()) {
            place_title();
            place_bar();
            for (Inscription &label : inscribe(graticule_.labels, page_, text_size_))
                place(std::move(label));
        }
        return {page_, std::move(graticule_), std::move(furniture_)};
    }

  private:
    Page page_with(const Margins &margins) const {
        return size_ ? Page(region_, *size_, margins) : usual_page(region_, margins);
    }

    // Gives the page its margins, unless that would leave too little of the map.
    bool make_room() {
        constexpr double least_share = 0.6;
        if (!style_.text.is_seen() || text_size_ <= 0) return false;
        margins_ = find_margins();
        const Page with_texts = page_with(margins_);
        if (with_texts.pixels_per_metre() < least_share * page_.pixels_per_metre()) return false;
        page_ = with_texts;
        return true;
    }

    double padding() const { return std::round(10 * unit_); }
    double title_size() const { return style_.title_size * unit_; }
    double title_height() const { return title_.empty() ? 0 : 1.8 * title_size(); }
    double bar_height() const { return bar_ ? 2.2 * text_size_ : 0; }

    // The labels need room beyond the map, and how much hardly depends on where the map lies.
    Margins find_margins() const {
        PlaneBox taken = page_.map();
        for (const Inscription &label : inscribe(graticule_.labels, page_, text_size_))
            taken = {std::min(taken.left, label.box.left), std::min(taken.top, label.box.top),
                     std::max(taken.right, label.box.right), std::max(taken.bottom, label.box.bottom)};
        const PlaneBox &map = page_.map();
        const auto whole = [&](double length) { return static_cast<int>(std::ceil(length + padding())); };
        return {whole(map.left - taken.left), whole(map.top - taken.top + title_height()),
                whole(taken.right - map.right), whole(taken.bottom - map.bottom + bar_height())};
    }

    bool place(Inscription &&text) {
        if (!page_.box().holds(text.box)) return false;
        const PlaneBox room = grown(text.box, 1.5 * unit_);
        for (const Inscription &other : furniture_.inscriptions)
            if (room.overlaps(other.box)) return false;
        furniture_.inscriptions.push_back(std::move(text));
        return true;
    }

    // Above the map, in its middle, as far as the page allows; smaller when it is wider than the page.
    void place_title() {
        if (title_.empty()) return;
        const double room = page_.width() - 2 * padding();
        const double width = measure_text(title_, title_size()).width;
        const double share = std::min(1.0, room / width);
        const double edge = padding() + share * width / 2;
        const double middle = (page_.map().left + page_.map().right) / 2;
        const double top = page_.map().top - margins_.top + padding();
        place(Inscription::centred(
            title_, share * title_size(),
            {std::clamp(middle, edge, std::max(edge, page_.width() - edge)), top + title_size() / 2}));
    }

    // In the lower right corner: the bar, then its text.
    void place_bar() {
        if (!bar_) return;
        const double length = bar_->metres_of_plane * page_.pixels_per_metre();
        const double width = measure_text(bar_->text, text_size_).width;
        const double right = page_.map().right;
        const double base = page_.map().bottom + margins_.bottom - padding() - text_size_ / 2;
        if (!place(Inscription::centred(bar_->text, text_size_, {right - width / 2, base}))) return;
        const double end = std::round(right - width - text_size_ * 0.6);
        const double start = std::round(end - length);
        const double middle = std::round((start + end) / 2);
        const double half = std::max(1.0, std::round(text_size_ / 6));
        furniture_.scale_bar = {{start, base - half, middle, base + half},
                                {middle, base - half, end, base + half}};
    }

    PlaneBox region_;
    std::optional<PageSize> size_;
    const Style &style_;
    const std::string &title_;
    Page page_;
    double unit_;
    double text_size_;
    Graticule graticule_;
    std::optional<PlannedBar> bar_;
    Margins margins_{};
    Furniture furniture_;
};

} // namespace

Inscription Inscription::centred(const std::string &text, double size, PlanePoint middle) {
    const TextSize measured = measure_text(text, size);
    const double x = measured.width / 2;
    const double y = measured.ascent / 2;
    return {text, size, {middle.x - x, middle.y - y, middle.x + x, middle.y + y}, false};
}

Layout lay_out(const Chart &chart, const std::optional<PageSize> &size, const Style &style,
               const std::string &title) {
    return Planner(chart, size, style, title).lay_out();
}

void draw(Canvas &canvas, const Furniture &furniture, const Style &style) {
    Colour halo = style.sea.is_seen() ? style.sea : style.background;
    halo.alpha *= 0.7;
    for (const Inscription &text : furniture.inscriptions) {
        const PlanePoint start = {text.box.left, text.box.bottom};
        if (text.on_map)
            canvas.write_with_halo(text.text, text.size, start, style.text, halo);
        else
            canvas.write(text.text, text.size, start, style.text);
    }
    if (!furniture.scale_bar) return;
    canvas.trace_box(furniture.scale_bar->left_half);
    canvas.fill(style.text);
    canvas.trace_box(grown(furniture.scale_bar->right_half, -0.5));
    canvas.stroke(style.text, 1);
}

} // namespace lindra::tools
