#include "tools/aon-sim/HtmlReport.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "tools/common/ResultKeys.h"

namespace aon_sim {
namespace {

// The page's geometry, in pixels: lanes start after the label column.
constexpr int kWidth = 1220;
constexpr int kLabel = 200;
constexpr int kPlot = kWidth - kLabel - 20;
constexpr int kLane = 22;
constexpr int kMarkRow = 5;
constexpr int kChart = 150;
constexpr size_t kDottedSamples = 300;

struct MarkStyle {
    const char* name;   // data attribute and CSS class
    const char* label;  // legend
    const char* color;
};
constexpr MarkStyle kMarkStyles[HtmlReport::kMarks] = {
        {"delivered", "delivered", "#2e7d32"},
        {"manager", "dropped by the manager (busy)", "#f9a825"},
        {"registry", "dropped by the callback registry (busy)", "#ef6c00"},
        {"refused", "refused by binder (failed transaction)", "#c62828"},
        {"other", "not delivered by the service", "#6a1b9a"},
};

const char* StateColor(int32_t state) {
    switch (state) {
        case 0:
            return "#cfd8dc";
        case 1:
            return "#81c784";
        case 2:
            return "#ffb74d";
        default:
            return "#b39ddb";
    }
}

constexpr const char* kSeriesColors[] = {"#1565c0", "#c62828", "#2e7d32"};

HtmlReport::Mark MarkOf(DropCause cause) {
    switch (cause) {
        case DropCause::kManagerBusy:
            return HtmlReport::Mark::kManagerBusy;
        case DropCause::kRegistryBusy:
            return HtmlReport::Mark::kRegistryBusy;
        case DropCause::kRefused:
            return HtmlReport::Mark::kRefused;
        case DropCause::kOther:
            return HtmlReport::Mark::kOther;
    }
    return HtmlReport::Mark::kOther;
}

std::string Escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string Format(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string Px(double value) {
    return Format("%.1f", value);
}

std::string Grouped(int64_t value) {
    std::string digits = std::to_string(value < 0 ? -value : value);
    for (int i = static_cast<int>(digits.size()) - 3; i > 0; i -= 3) digits.insert(i, ",");
    return (value < 0 ? "-" : "") + digits;
}

std::string Seconds(int64_t micros) {
    return Format("%.3f s", static_cast<double>(micros) / 1e6);
}

// The numbers of a rendered value: "[1.5,-2,3]" or "7".
std::vector<double> Numbers(const std::string& json) {
    std::vector<double> numbers;
    const char* at = json.c_str();
    while (*at != '\0') {
        if (*at == '[' || *at == ',' || *at == ' ') {
            ++at;
            continue;
        }
        char* end = nullptr;
        const double value = std::strtod(at, &end);
        if (end == at) break;  // a digest or a string: not numbers
        numbers.push_back(value);
        at = end;
    }
    return numbers;
}

// Maps run time to the plot's x.
class TimeAxis {
  public:
    explicit TimeAxis(int64_t end) : mEnd(std::max<int64_t>(end, 1)) {}
    double X(int64_t time) const {
        return kLabel + static_cast<double>(time) / static_cast<double>(mEnd) * kPlot;
    }
    int Column(int64_t time) const {
        return std::min(kPlot - 1, static_cast<int>(static_cast<double>(time) / mEnd * kPlot));
    }
    // Ticks and their labels along a line at `y`, with grid lines down to `bottom`.
    std::string Ticks(int y, int bottom) const {
        const double seconds = static_cast<double>(mEnd) / 1e6;
        double step = std::pow(10.0, std::floor(std::log10(seconds)));
        while (seconds / step < 4) step /= 2;
        while (seconds / step > 10) step *= 2;
        const char* format = step >= 1 ? "%.0f s" : step >= 0.1 ? "%.1f s" : "%.3f s";
        std::string out;
        for (double t = 0; t <= seconds * 1.0001; t += step) {
            const double x = X(static_cast<int64_t>(std::llround(t * 1e6)));
            out += "<line class=grid x1=" + Px(x) + " y1=" + std::to_string(y + 4) +
                   " x2=" + Px(x) + " y2=" + std::to_string(bottom) + " />";
            out += "<text class=tick x=" + Px(x) + " y=" + std::to_string(y) + ">" +
                   Format(format, t) + "</text>";
        }
        return out;
    }

  private:
    const int64_t mEnd;
};

std::string LaneLabel(int y, const std::string& text) {
    return "<text class=lane x=4 y=" + std::to_string(y + kLane / 2 + 4) + ">" + Escape(text) +
           "</text>";
}

std::string Rect(double x, double y, double width, double height, const char* color,
                 const std::string& title, const std::string& attributes = "") {
    return "<rect x=" + Px(x) + " y=" + Px(y) + " width=" + Px(std::max(width, 1.0)) +
           " height=" + Px(height) + " fill=\"" + color + "\"" + attributes + "><title>" +
           Escape(title) + "</title></rect>";
}

// A line through every sample, drawn per pixel column as first, lowest, highest and last value.
// The line breaks where samples are more than twice the shortest interval apart (the stream
// stopped meanwhile).
template <typename Sample, typename X, typename Y>
std::string BinnedPath(const std::vector<Sample>& samples, X x, Y y) {
    std::string path;
    int64_t shortest = 0;
    size_t i = 0;
    while (i < samples.size()) {
        bool gap = false;
        if (i > 0) {
            const int64_t interval = samples[i].time - samples[i - 1].time;
            if (interval > 0 && (shortest == 0 || interval < shortest)) shortest = interval;
            gap = shortest > 0 && interval > 2 * shortest;
        }
        const int column = static_cast<int>(std::floor(x(samples[i])));
        double low = y(samples[i]);
        double high = low;
        const double first = low;
        double last = low;
        size_t j = i + 1;
        for (; j < samples.size() && static_cast<int>(std::floor(x(samples[j]))) == column; ++j) {
            last = y(samples[j]);
            low = std::min(low, last);
            high = std::max(high, last);
        }
        const std::string at = Px(x(samples[i]));
        path += (path.empty() ? "M" : gap ? " M" : " L") + at + "," + Px(first);
        if (j - i > 1)
            path += " L" + at + "," + Px(low) + " L" + at + "," + Px(high) + " L" + at + "," +
                    Px(last);
        i = j;
    }
    return path;
}

}  // namespace

HtmlReport::Client& HtmlReport::ClientLocked(const std::string& name) {
    auto found = mClients.find(name);
    if (found == mClients.end()) {
        mClientOrder.push_back(name);
        found = mClients.emplace(name, Client()).first;
    }
    return found->second;
}

void HtmlReport::Write(const TraceEntry& entry) {
    std::lock_guard<std::mutex> guard(mLock);
    const int64_t t = entry.timeMicros;
    mEnd = std::max(mEnd, t);
    if (const auto* status = std::get_if<StatusEntry>(&entry.body)) {
        ClientLocked(status->client);
    } else if (const auto* state = std::get_if<SensorStateEntry>(&entry.body)) {
        std::vector<Span>& spans = ClientLocked(state->client).states[state->sensorId];
        if (!spans.empty() && !spans.back().end) spans.back().end = t;
        spans.push_back({t, std::nullopt,
                         std::string(aon_tools::SensorStateName(state->state)) + " (" +
                                 std::to_string(state->state) + ")",
                         state->state, aon_tools::SensorStateName(state->state)});
    } else if (const auto* event = std::get_if<EventEntry>(&entry.body)) {
        OnEventLocked(t, *event);
    } else if (const auto* call = std::get_if<VendorEntry>(&entry.body)) {
        OnVendorLocked(t, *call);
    } else if (const auto* frame = std::get_if<FrameEntry>(&entry.body)) {
        if (frame->delivered) {
            mFrame = frame->frameId;
            ++mFramesDelivered;
        } else {
            mFrame.reset();
            mFramesWithoutStream.push_back(t);
        }
    } else if (const auto* drop = std::get_if<DropEntry>(&entry.body)) {
        Client& client = ClientLocked(drop->client);
        const Mark mark = MarkOf(drop->cause);
        client.frames.push_back({t, drop->frameId, mark});
        ++client.marks[static_cast<int>(mark)];
    } else if (const auto* transaction = std::get_if<TransactionEntry>(&entry.body)) {
        OnTransactionLocked(*transaction);
        if (transaction->refused && !transaction->reply && transaction->method == "onAONEvent") {
            ClientLocked(transaction->target).sizes.push_back({t, transaction->bytes, true});
        }
    } else if (const auto* note = std::get_if<NoteEntry>(&entry.body)) {
        if (note->camera) {
            std::vector<Span>& spans = mCameras[note->camera->instanceId];
            const bool open = !spans.empty() && !spans.back().end;
            if (note->camera->open && !open) spans.push_back({t, std::nullopt, "open", 1, ""});
            if (!note->camera->open && open) spans.back().end = t;
        }
    }
}

void HtmlReport::OnEventLocked(int64_t time, const EventEntry& event) {
    Client& client = ClientLocked(event.client);
    ++client.events;
    if (mFrame) {
        client.frames.push_back({time, *mFrame, Mark::kDelivered});
        ++client.marks[static_cast<int>(Mark::kDelivered)];
    }
    if (event.bytes > 0) client.sizes.push_back({time, event.bytes, false});
    mLimit = std::max(mLimit, event.limit);
    // The values of a frame once, from the first client that received it.
    if (mFrame && mValuesOfFrame == mFrame) return;
    mValuesOfFrame = mFrame;
    for (const aon_tools::ResultItem& item : event.results) {
        if (item.value.empty()) continue;
        const std::vector<double> numbers = Numbers(item.value);
        std::vector<std::pair<std::string, size_t>> kept;  // series, index into the value
        if (item.key == 200) {
            for (size_t i = 0; i < 3; ++i)
                kept.emplace_back("face angle[" + std::to_string(i) + "]", i);
        } else if (item.key == 300) {
            for (size_t i = 0; i < 2; ++i) kept.emplace_back("gaze[" + std::to_string(i) + "]", i);
        } else if (item.key == 101) {
            kept.emplace_back("fusion item count", 0);
        }
        for (const auto& [series, index] : kept) {
            if (index < numbers.size()) mValues[series].push_back({time, numbers[index]});
        }
    }
}

void HtmlReport::OnVendorLocked(int64_t time, const VendorEntry& call) {
    // The stream runs from an init that succeeded (non-zero) to an uninit that succeeded.
    const bool running = !mStream.empty() && !mStream.back().end;
    if (call.call == "init" && call.result != 0 && call.param) {
        if (running) mStream.back().end = time;
        const ParamFields& p = *call.param;
        char type[16];
        std::snprintf(type, sizeof(type), "0x%x", static_cast<unsigned>(p.serviceType));
        const std::string format = std::to_string(p.width) + "x" + std::to_string(p.height) +
                                   " @ " + std::to_string(p.fps) + " fps";
        mStream.push_back(
                {time, std::nullopt,
                 std::string(type) + " " +
                         aon_tools::ServiceTypeNames(static_cast<uint32_t>(p.serviceType)) +
                         " · sensor " + std::to_string(p.sensorId) + ", " + format,
                 p.serviceType, std::string(type) + " · " + format});
    } else if (call.call == "uninit" && call.result != 0 && running) {
        mStream.back().end = time;
    }
}

void HtmlReport::OnTransactionLocked(const TransactionEntry& transaction) {
    mLimit = std::max(mLimit, transaction.limit);
    if (!transaction.refused) return;
    for (const std::string* process : {&transaction.caller, &transaction.target}) {
        if (mClients.count(*process) != 0) ++mClients[*process].failedTransactions;
    }
}

void HtmlReport::WriteSummary(const Summary& summary) {
    std::lock_guard<std::mutex> guard(mLock);
    mEnd = std::max(mEnd, static_cast<int64_t>(std::llround(summary.seconds * 1e6)));
}

std::string HtmlReport::Render() const {
    std::lock_guard<std::mutex> guard(mLock);
    const TimeAxis axis(mEnd);
    std::string page;
    page += "<!DOCTYPE html>\n<html lang=en>\n<head>\n<meta charset=utf-8>\n";
    page += "<title>aon-sim: " + Escape(mTitle) + "</title>\n";
    page += "<style>\n"
            "body{font:13px/1.4 sans-serif;margin:16px;color:#212121;background:#fff}\n"
            "h1{font-size:18px;margin:0 0 4px}h2{font-size:15px;margin:18px 0 4px}\n"
            "svg{display:block}text{font:11px sans-serif;fill:#37474f}\n"
            "text.lane{font-weight:bold}text.tick{text-anchor:middle;fill:#78909c}\n"
            "text.span{fill:#212121}line.grid{stroke:#eceff1}\n"
            "table{border-collapse:collapse}td,th{border:1px solid #cfd8dc;padding:2px 8px;"
            "text-align:right}th{background:#eceff1}td:first-child{text-align:left}\n"
            ".key{display:inline-block;width:10px;height:10px;margin:0 4px 0 12px}\n"
            "</style>\n</head>\n<body>\n";
    page += "<h1>aon-sim: " + Escape(mTitle) + "</h1>\n";
    page += "<p>" + Seconds(mEnd) + ", " + Grouped(mFramesDelivered) +
            " frames delivered by the stream, " +
            Grouped(static_cast<int64_t>(mFramesWithoutStream.size())) +
            " asked for while no stream ran.</p>\n";

    // The timeline.
    int lanes = static_cast<int>(mCameras.size()) + 1;
    for (const std::string& name : mClientOrder) {
        lanes += static_cast<int>(mClients.at(name).states.size()) + 1;
    }
    const int top = 24;
    const int height = top + lanes * (kLane + 4) + 8;
    page += "<h2>Timeline</h2>\n<svg data-chart=timeline width=" + std::to_string(kWidth) +
            " height=" + std::to_string(height) + ">\n" + axis.Ticks(14, height) + "\n";
    int y = top;
    const int64_t runEnd = mEnd;
    const auto spansLane = [&](const std::string& lane, const std::vector<Span>& spans,
                               const auto& color) {
        page += "<g data-lane=\"" + Escape(lane) + "\">" + LaneLabel(y, lane);
        for (const Span& span : spans) {
            const int64_t end = span.end.value_or(runEnd);
            const double x = axis.X(span.begin);
            const double width = axis.X(end) - x;
            page += Rect(x, y, width, kLane, color(span),
                         span.label + ", " + Seconds(span.begin) + " to " + Seconds(end),
                         " data-label=\"" + Escape(span.label) + "\"");
            // About 6 pixels a character.
            const auto fits = [&](const std::string& text) {
                return !text.empty() && width > 6.0 * static_cast<double>(text.size()) + 8;
            };
            const std::string& shown = fits(span.label) ? span.label : span.shortLabel;
            if (fits(shown)) {
                page += "<text class=span x=" + Px(x + 4) + " y=" + std::to_string(y + 15) + ">" +
                        Escape(shown) + "</text>";
            }
        }
        page += "</g>\n";
        y += kLane + 4;
    };
    for (const auto& [instance, spans] : mCameras) {
        spansLane("camera device " + std::to_string(instance), spans,
                  [](const Span&) { return "#90a4ae"; });
    }
    spansLane("stream", mStream, [](const Span&) { return "#90caf9"; });
    // Frames asked for while no stream ran, as ticks under the stream lane.
    for (const int64_t time : mFramesWithoutStream) {
        page += Rect(axis.X(time), y - 8, 1, 4, "#546e7a", "frame asked for, no stream running",
                     " data-mark=nostream");
    }
    for (const std::string& name : mClientOrder) {
        const Client& client = mClients.at(name);
        for (const auto& [sensor, spans] : client.states) {
            spansLane(name + " · sensor " + std::to_string(sensor), spans,
                      [](const Span& span) { return StateColor(span.kind); });
        }
        // One row per kind of mark, each pixel column drawn once per kind.
        std::string counts;
        for (int m = 0; m < kMarks; ++m) {
            counts += std::string(m ? " " : "") + kMarkStyles[m].name + ":" +
                      std::to_string(client.marks[m]);
        }
        page += "<g data-lane=\"" + Escape(name + " · frames") + "\" data-marks=\"" + counts +
                "\">" + LaneLabel(y, name + " · frames");
        const double frameWidth =
                client.frames.empty()
                        ? 1.0
                        : std::clamp(kPlot / static_cast<double>(client.frames.size()), 1.0, 6.0);
        for (int m = 0; m < kMarks; ++m) {
            int lastColumn = -1;
            for (size_t i = 0; i < client.frames.size(); ++i) {
                const FrameMark& frame = client.frames[i];
                if (static_cast<int>(frame.mark) != m) continue;
                const int column = axis.Column(frame.time);
                if (column == lastColumn) continue;
                lastColumn = column;
                page += Rect(axis.X(frame.time), y + 1 + m * (kMarkRow - 1) - 0.5, frameWidth,
                             kMarkRow - 1, kMarkStyles[m].color,
                             "frame " + std::to_string(frame.frameId) + ": " + kMarkStyles[m].label,
                             std::string(" data-mark=") + kMarkStyles[m].name);
            }
        }
        page += "</g>\n";
        y += kLane + 4;
    }
    page += "</svg>\n<p>";
    for (int state = 0; state <= 2; ++state) {
        page += "<span class=key style=\"background:" + std::string(StateColor(state)) +
                "\"></span>" + aon_tools::SensorStateName(state);
    }
    for (const MarkStyle& style : kMarkStyles) {
        page += "<span class=key style=\"background:" + std::string(style.color) + "\"></span>" +
                style.label;
    }
    page += "</p>\n";

    // Event sizes against the buffer.
    size_t highest = mLimit;
    for (const std::string& name : mClientOrder) {
        for (const SizePoint& point : mClients.at(name).sizes)
            highest = std::max(highest, point.bytes);
    }
    const double scale = highest == 0 ? 1.0 : static_cast<double>(highest) * 1.1;
    const auto sizeY = [&](size_t bytes) {
        return 10 + kChart - static_cast<double>(bytes) / scale * kChart;
    };
    page += "<h2>onAONEvent data size against the client's binder buffer</h2>\n"
            "<svg data-chart=sizes width=" +
            std::to_string(kWidth) + " height=" + std::to_string(kChart + 30) + ">\n" +
            axis.Ticks(kChart + 26, kChart + 12) + "\n";
    if (mLimit > 0) {
        page += "<line x1=" + std::to_string(kLabel) + " x2=" + std::to_string(kLabel + kPlot) +
                " y1=" + Px(sizeY(mLimit)) + " y2=" + Px(sizeY(mLimit)) +
                " stroke=\"#c62828\" stroke-dasharray=\"6 3\" data-limit=" +
                std::to_string(mLimit) + " />";
        page += "<text x=4 y=" + Px(sizeY(mLimit) + 4) + ">buffer " +
                Grouped(static_cast<int64_t>(mLimit)) + " bytes</text>\n";
    }
    page += "<text x=4 y=" + Px(sizeY(0)) + ">0</text>\n";
    for (size_t c = 0; c < mClientOrder.size(); ++c) {
        const Client& client = mClients.at(mClientOrder[c]);
        int lastColumn = -1;
        size_t lastBytes = 0;
        for (const SizePoint& point : client.sizes) {
            const int column = axis.Column(point.time);
            if (column == lastColumn && point.bytes == lastBytes && !point.refused) continue;
            lastColumn = column;
            lastBytes = point.bytes;
            page += Rect(axis.X(point.time) - 2, sizeY(point.bytes) - 2, 4, 4,
                         point.refused ? "#c62828" : kSeriesColors[c % 3],
                         mClientOrder[c] + ": " + Grouped(static_cast<int64_t>(point.bytes)) +
                                 " bytes" + (point.refused ? ", refused" : "") + " at " +
                                 Seconds(point.time),
                         point.refused ? " data-mark=refused" : " data-mark=delivered");
        }
    }
    page += "</svg>\n";

    // Detector values.
    const std::pair<const char*, std::vector<std::string>> groups[] = {
            {"face angle (key 200), floats 0 to 2",
             {"face angle[0]", "face angle[1]", "face angle[2]"}},
            {"gaze (key 300), floats 0 and 1", {"gaze[0]", "gaze[1]"}},
            {"fusion item count (key 101)", {"fusion item count"}},
    };
    page += "<h2>Detector values</h2>\n";
    bool anyValues = false;
    for (const auto& [title, series] : groups) {
        double low = 0;
        double high = 0;
        bool found = false;
        for (const std::string& name : series) {
            const auto it = mValues.find(name);
            if (it == mValues.end()) continue;
            for (const ValuePoint& point : it->second) {
                low = found ? std::min(low, point.value) : point.value;
                high = found ? std::max(high, point.value) : point.value;
                found = true;
            }
        }
        if (!found) continue;
        anyValues = true;
        if (high - low < 1e-9) {
            high += 1;
            low -= 1;
        }
        const auto valueY = [&](double value) {
            return 10 + kChart - (value - low) / (high - low) * kChart;
        };
        page += "<h3>" + Escape(title) + "</h3>\n<svg data-chart=\"" + Escape(title) +
                "\" width=" + std::to_string(kWidth) + " height=" + std::to_string(kChart + 30) +
                ">\n" + axis.Ticks(kChart + 26, kChart + 12) + "\n";
        page += "<text x=4 y=" + Px(valueY(high) + 4) + ">" + Format("%g", high) + "</text>";
        page += "<text x=4 y=" + Px(valueY(low)) + ">" + Format("%g", low) + "</text>\n";
        for (size_t s = 0; s < series.size(); ++s) {
            const auto it = mValues.find(series[s]);
            if (it == mValues.end()) continue;
            page += "<path fill=none stroke=\"" + std::string(kSeriesColors[s % 3]) +
                    "\" stroke-width=1 data-series=\"" + Escape(series[s]) +
                    "\" data-points=" + std::to_string(it->second.size()) + " d=\"" +
                    BinnedPath(
                            it->second, [&](const ValuePoint& p) { return axis.X(p.time); },
                            [&](const ValuePoint& p) { return valueY(p.value); }) +
                    "\" />\n";
            // Few samples are dotted too: a single one draws no line.
            if (it->second.size() <= kDottedSamples) {
                for (const ValuePoint& point : it->second) {
                    page += "<circle r=2 cx=" + Px(axis.X(point.time)) +
                            " cy=" + Px(valueY(point.value)) + " fill=\"" + kSeriesColors[s % 3] +
                            "\" />";
                }
                page += "\n";
            }
            page += "<text x=" + std::to_string(kLabel + 8 + static_cast<int>(s) * 110) +
                    " y=8 fill=\"" + kSeriesColors[s % 3] + "\">" + Escape(series[s]) + "</text>\n";
        }
        page += "</svg>\n";
    }
    if (!anyValues) page += "<p>No detector values in the trace.</p>\n";

    // Counts.
    page += "<h2>Per client</h2>\n<table>\n<tr><th>client</th><th>events</th>";
    for (const MarkStyle& style : kMarkStyles) page += "<th>" + std::string(style.label) + "</th>";
    page += "<th>failed transactions</th></tr>\n";
    for (const std::string& name : mClientOrder) {
        const Client& client = mClients.at(name);
        page += "<tr data-client=\"" + Escape(name) + "\"><td>" + Escape(name) +
                "</td><td data-count=events>" + Grouped(client.events) + "</td>";
        for (int m = 0; m < kMarks; ++m) {
            page += std::string("<td data-count=") + kMarkStyles[m].name + ">" +
                    Grouped(client.marks[m]) + "</td>";
        }
        page += "<td data-count=failed>" + Grouped(client.failedTransactions) + "</td></tr>\n";
    }
    page += "</table>\n</body>\n</html>\n";
    return page;
}

}  // namespace aon_sim
