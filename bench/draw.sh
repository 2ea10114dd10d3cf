#!/bin/sh
# Draws the figures of the benchmarks.
#   draw.sh cost <figures> | draw.sh scaling <figures>, as the programs write them; SVG to stdout
set -eu
case $1 in
    cost) awk -F '\t' '
        !($1 in place) { place[$1] = rows++; name[rows - 1] = $1 }
        $2 != "Paho C" { value[$1, $2] = $3 }
        END {
            split("raw,event 32,event,basic,libmosquitto", who, ",")
            split("#999999,#0b6e4f,#41b883,#a6dcc4,#c1666b", colour, ",")
            printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"760\" height=\"%d\" font-family=\"sans-serif\" font-size=\"12\">\n", rows * 90 + 50
            print "<rect width=\"100%\" height=\"100%\" fill=\"white\"/><text x=\"10\" y=\"20\">processor time for a message, relative to libmosquitto (shorter is better)</text>"
            for (r = 0; r < rows; ++r) {
                printf "<text x=\"10\" y=\"%d\">%s</text>\n", 70 + r * 90, name[r]
                for (i = 1; i <= 5; ++i) {
                    v = value[name[r], who[i]]
                    y = 36 + r * 90 + (i - 1) * 15
                    width = 380 * v / value[name[r], "libmosquitto"]
                    printf "<rect x=\"190\" y=\"%d\" width=\"%.1f\" height=\"13\" fill=\"%s\"/><text x=\"%.1f\" y=\"%d\">%s: %.2f us</text>\n", y, width, colour[i], 195 + width, y + 11, who[i], v
                }
            }
            print "</svg>"
        }' "$2" ;;
    scaling) awk -F '\t' '
        { handles[NR] = $1; rate[NR] = $2; cpu[NR] = $3; if ($2 > most) most = $2 }
        END {
            printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"640\" height=\"%d\" font-family=\"sans-serif\" font-size=\"12\">\n", NR * 30 + 40
            print "<rect width=\"100%\" height=\"100%\" fill=\"white\"/><text x=\"10\" y=\"20\">QoS 1 messages a second on one thread, one under way for each handle</text>"
            for (i = 1; i <= NR; ++i) {
                width = 300 * rate[i] / most
                printf "<text x=\"10\" y=\"%d\">%d handles</text><rect x=\"100\" y=\"%d\" width=\"%.1f\" height=\"20\" fill=\"#0b6e4f\"/><text x=\"%.1f\" y=\"%d\">%d/s, %.2f us each</text>\n", 15 + i * 30, handles[i], i * 30, width, 105 + width, 15 + i * 30, rate[i], cpu[i]
            }
            print "</svg>"
        }' "$2" ;;
esac
