# Draws docs/speed.svg of build/speed.data: a label, a ratio and an aim on each line.
set terminal svg size 960, 700 font "DejaVu Sans, 13" background "#ffffff"
set output "docs/speed.svg"
set datafile separator "\t"
set label "Processor time, that of what it is beside being 1 (in UTC; shorter is faster)" at screen 0.5, 0.97 center \
    font ",15"
set tmargin 3
set yrange [] reverse
set offsets 0, 0, 0.3, 0.3
set xrange [0:*]
set ytics nomirror scale 0
set xtics nomirror
set grid xtics lc rgb "#d0d7de"
set border 1 lc rgb "#57606a"
set key at graph 1, graph 0.97
set style fill solid
set arrow from 1, graph 0 to 1, graph 1 nohead lw 2 lc rgb "#57606a"
plot "build/speed.data" using 2:0:(0):2:($0 - 0.3):($0 + 0.3):($2 <= 1 ? 0x2da44e : 0x4c8ed9):ytic(1) \
        with boxxyerror lc rgb variable title "", \
    "" using 3:0:(0):(0.4) with vectors nohead lw 3 lc rgb "#cf222e" title "aim", \
    "" using 3:0:(0):(-0.4) with vectors nohead lw 3 lc rgb "#cf222e" title ""
