#include "fleet/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "fleet/summary.h"

namespace Fleet {

namespace {

// Pixels.
constexpr double kWidth = 860;
constexpr double kLeft = 86;
constexpr double kRight = 28;
constexpr double kTop = 44;
constexpr double kPanel = 120;
constexpr double kGap = 46;
constexpr double kInner = kWidth - kLeft - kRight;

constexpr int kMaxPoints = 400;

constexpr char kStyle[] =
    "<style>"
    "svg{background:#fff;font:12px system-ui,sans-serif}"
    "text{fill:#333}.t{font-size:15px;font-weight:600}.u{font-weight:600}"
    ".g{stroke:#ddd;fill:none}.o{fill:#d9480f;fill-opacity:.1}"
    "path{fill:none;stroke-width:1.5;stroke-linejoin:round}"
    ".a{stroke:#1864ab}.b{stroke:#d9480f}.c{stroke:#74a9d8}"
    ".ka{fill:#1864ab}.kb{fill:#d9480f}.kc{fill:#74a9d8}"
    "@media(prefers-color-scheme:dark){"
    "svg{background:#14171a}text{fill:#d5d9dd}.g{stroke:#363c42}.o{fill:#ff922b;fill-opacity:.14}"
    ".a{stroke:#74c0fc}.b{stroke:#ff922b}.c{stroke:#3b78a8}"
    ".ka{fill:#74c0fc}.kb{fill:#ff922b}.kc{fill:#3b78a8}}"
    "</style>";

struct Line {
  const char* name;
  char style;
  std::vector<double> values;
};

std::string Format(const char* format, double number) {
  char text[40];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

std::string Pixel(double value) {
  return Format("%.1f", value);
}

// 1, 2 or 5 times a power of ten, so that at most five steps cover the maximum.
double StepFor(double maximum) {
  double step = std::pow(10, std::floor(std::log10(std::max(maximum, 1.0))) - 1);
  for (const double factor : {2.0, 2.5, 2.0}) {
    step *= step * 5 >= maximum ? 1 : factor;
  }
  return step * 5 >= maximum ? step : step * 2;
}

std::string Tick(double value) {
  if (value >= 1e9) {
    return Format("%g G", value / 1e9);
  }
  return value >= 1e6   ? Format("%g M", value / 1e6)
         : value >= 1e3 ? Format("%g k", value / 1e3)
                        : Format("%g", value);
}

class Picture {
 public:
  explicit Picture(const Scenario& scenario) : scenario_(scenario) {
    svg_ =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 860 556\" width=\"860\" "
        "height=\"556\" role=\"img\">\n<title>" +
        scenario.title + "</title>\n" + kStyle +
        "\n<rect width=\"860\" height=\"556\" "
        "fill=\"none\"/>\n";
    Text(kLeft, 20, "start", "t",
         scenario.name + ": " + WithSeparators(scenario.clients) + " clients, " + scenario.title);
  }

  void Panel(const char* title, const std::vector<Line>& lines) {
    double maximum = 0;
    for (const Line& line : lines) {
      maximum = std::max(maximum, *std::max_element(line.values.begin(), line.values.end()));
    }
    const double step = StepFor(maximum);
    const double top = step * std::max(std::ceil(maximum / step), 1.0);
    Outages();
    for (double value = 0; value <= top * 1.001; value += step) {
      const double y = y_ + kPanel * (1 - value / top);
      Rule(kLeft, y, kInner, 0);
      Text(kLeft - 8, y + 4, "end", "", Tick(value));
    }
    Hours();
    Text(kLeft, y_ - 8, "start", "u", title);
    double key = kLeft + kInner;
    for (const Line& line : lines) {
      Draw(line, top);
      Text(key, y_ - 8, "end", std::string("k") + line.style, line.name);
      key -= 150;
    }
    y_ += kPanel + kGap;
  }

  std::string Finish() { return svg_ + "</svg>\n"; }

 private:
  double X(int64_t time) const {
    return kLeft + kInner * static_cast<double>(time - scenario_.begin) /
                       static_cast<double>(scenario_.end - scenario_.begin);
  }

  void Text(double x,
            double y,
            const char* anchor,
            const std::string& style,
            const std::string& text) {
    svg_ += "<text x=\"" + Pixel(x) + "\" y=\"" + Pixel(y) + "\" text-anchor=\"" + anchor +
            "\" class=\"" + style + "\">" + text + "</text>\n";
  }

  void Rule(double x, double y, double width, double height) {
    svg_ += "<path class=\"g\" d=\"M" + Pixel(x) + ' ' + Pixel(y) + 'l' + Pixel(width) + ' ' +
            Pixel(height) + "\"/>\n";
  }

  void Outages() {
    for (const GatewayModel::Outage& outage : scenario_.gateways.outages) {
      const double begin = X(std::max(outage.begin, scenario_.begin));
      const double end = X(std::min(outage.end, scenario_.end));
      svg_ += "<rect class=\"o\" x=\"" + Pixel(begin) + "\" y=\"" + Pixel(y_) + "\" width=\"" +
              Pixel(std::max(end - begin, 0.0)) + "\" height=\"" + Pixel(kPanel) + "\"/>\n";
    }
  }

  void Hours() {
    const int64_t length = scenario_.end - scenario_.begin;
    int64_t step = 600;
    for (const int64_t longer : {1800, 3600, 7200, 14400, 28800, 86400}) {
      step = length / step > 14 ? longer : step;
    }
    for (int64_t time = (scenario_.begin + step - 1) / step * step; time <= scenario_.end;
         time += step) {
      Rule(X(time), y_ + kPanel, 0, 4);
      Text(X(time), y_ + kPanel + 17, "middle", "", ClockText(time % kDay).substr(0, 5));
    }
  }

  void Draw(const Line& line, double top) {
    svg_ += std::string("<path class=\"") + line.style + "\" d=\"";
    const double width = kInner / static_cast<double>(line.values.size());
    for (size_t i = 0; i < line.values.size(); ++i) {
      svg_ += (i == 0 ? "M" : "L") + Pixel(kLeft + width * (static_cast<double>(i) + 0.5)) + ' ' +
              Pixel(y_ + kPanel * (1 - line.values[i] / top));
    }
    svg_ += "\"/>\n";
  }

  const Scenario& scenario_;
  std::string svg_;
  double y_ = kTop + 22;
};

}  // namespace

std::string Plot(const Scenario& scenario, const Figures& figures) {
  const int64_t minutes = std::ssize(figures.Samples());
  const int64_t width = std::max<int64_t>((minutes + kMaxPoints - 1) / kMaxPoints, 1);
  Line peak{"busiest second", 'c', {}};
  Line mean{"accepted, mean", 'a', {}};
  Line vain{"in vain, mean", 'b', {}};
  Line behind{"", 'a', {}};
  Line bytes{"", 'a', {}};
  for (int64_t minute = 0; minute < minutes; minute += width) {
    const int64_t end = std::min(minute + width, minutes);
    double most = 0;
    double accepted = 0;
    double failed = 0;
    for (int64_t i = minute * 60; i < end * 60; ++i) {
      const Second& second = figures.At(figures.Begin() + i);
      most = std::max<double>(most, second.accepted + second.tooMany);
      accepted += second.accepted;
      failed += second.gone + second.tooMany;
    }
    const double seconds = static_cast<double>(end - minute) * 60;
    peak.values.push_back(most);
    mean.values.push_back(accepted / seconds);
    vain.values.push_back(failed / seconds);
    const Sample& sample = figures.Samples()[static_cast<size_t>(end - 1)];
    behind.values.push_back(static_cast<double>(sample.behind));
    bytes.values.push_back(static_cast<double>(sample.bytes));
  }
  Picture picture(scenario);
  picture.Panel("requests a second", {peak, mean, vain});
  picture.Panel("clients behind", {behind});
  picture.Panel("bytes of records on clients", {bytes});
  return picture.Finish();
}

}  // namespace Fleet
