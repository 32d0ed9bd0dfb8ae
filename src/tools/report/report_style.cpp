#include "tools/report/report_text.h"

namespace vantor::tools {

const std::string_view kReportStyle = R"(
:root{color-scheme:light dark;--back:#fff;--text:#1b1f24;--quiet:#59636e;--line:#d8dee4;--strip:#f3f5f7;
--video:#3c78b4;--audio:#2f8f77;--subtitle:#8a6fb8;--other:#7d8690;--lost:#cf4a34;--lost-text:#b3331f;--warning:#8f6400;
--key:#1b1f24;--hatch:#59636e;--good:#1f7a5f}
@media(prefers-color-scheme:dark){:root{--back:#15181c;--text:#e3e7eb;--quiet:#98a2ad;--line:#333a42;--strip:#1e2329;
--video:#5b9bd8;--audio:#45b394;--subtitle:#a98fd8;--other:#8a949e;--lost:#ee6a53;--lost-text:#ff8b76;--warning:#e0b04c;
--key:#e3e7eb;--hatch:#98a2ad;--good:#5cc7a4}}
*{box-sizing:border-box}
body{margin:0 auto;padding:2rem 1.25rem 3rem;max-width:78rem;background:var(--back);color:var(--text);
font:15px/1.5 system-ui,-apple-system,"Segoe UI",Roboto,"Noto Sans","DejaVu Sans",sans-serif;
font-variant-numeric:tabular-nums;overflow-wrap:anywhere}
h1{font-size:1.5rem;line-height:1.25;font-weight:600;margin:0}
h2{font-size:1.05rem;font-weight:600;margin:2.25rem 0 .75rem}
p{margin:.25rem 0}
code{font:.92em ui-monospace,"Cascadia Mono",Menlo,Consolas,"DejaVu Sans Mono",monospace}
a{color:inherit}
.quiet{color:var(--quiet)}
.error{color:var(--lost-text)}.warning{color:var(--warning)}.note{color:var(--quiet)}.good{color:var(--good)}
.sums{font-weight:600}
ol.findings{margin:0;padding:0;list-style:none}
ol.findings li{display:grid;grid-template-columns:2rem minmax(0,1fr);padding:.55rem 0;border-top:1px solid var(--line)}
ol.findings li:last-child{border-bottom:1px solid var(--line)}
ol.findings li:target{background:var(--strip)}
ol.findings .what{font-weight:600}
.row{display:grid;grid-template-columns:15.5rem minmax(0,1fr);column-gap:1.25rem;align-items:center;padding:.45rem 0;
border-top:1px solid var(--line)}
.row.bare{border-top:0;padding:0}
.label{font-size:.87rem;line-height:1.4;min-width:0}
.label b{font-weight:600}
.strip{position:relative;min-width:0}
.strip svg{display:block;width:100%;background:var(--strip);border-radius:2px}
svg.lane{height:30px}svg.chart{height:150px}
.video{--own:var(--video)}.audio{--own:var(--audio)}.subtitle{--own:var(--subtitle)}.other{--own:var(--other)}
.bar{fill:var(--own)}.bar.preroll{fill-opacity:.4}
.bar.lost{fill:var(--lost);stroke:var(--lost);stroke-width:1.5px}
path{vector-effect:non-scaling-stroke}
.key{stroke:var(--key);stroke-width:1px;fill:none}
.dense{stroke-opacity:.25}
.gap{fill:var(--back);stroke:var(--quiet);stroke-width:1px;stroke-dasharray:3 2;vector-effect:non-scaling-stroke}
.area{fill:var(--own)}
.line{fill:none;stroke:var(--quiet);stroke-width:1px}
.dots{fill:none;stroke:var(--video);stroke-width:4px;stroke-linecap:round}
.wrong{fill:none;stroke:var(--lost);stroke-width:9px;stroke-linecap:square}
.mark{fill:none;stroke-width:1.5px}.mark.right{stroke:var(--quiet)}.mark.false{stroke:var(--lost);stroke-width:2.5px}
.told rect{fill:transparent}.told rect:hover{fill:var(--text);fill-opacity:.1}
.part.clusters{fill:var(--video)}.part.rest{fill:var(--line)}.part.headers{fill:var(--quiet)}
.part.attached{fill:var(--subtitle)}.part.cues{fill:var(--audio)}
.behind{position:absolute;top:0;bottom:0;right:0;pointer-events:none;border-left:1px solid var(--hatch);
background:repeating-linear-gradient(135deg,transparent 0 5px,var(--hatch) 5px 6px);opacity:.65}
.axis{position:relative;height:1.5rem;font-size:.78rem;color:var(--quiet)}
.axis span,.flag{position:absolute;white-space:nowrap;transform:translateX(calc(-1*var(--at)));left:var(--at)}
.axis i{position:absolute;bottom:0;height:.3rem;border-left:1px solid var(--quiet);left:var(--at)}
.axis.low{padding-top:.3rem}.axis.low i{bottom:auto;top:0}
.flags{position:relative;height:1.6rem}
.flag{padding:0 .4rem;border:1px solid currentColor;border-radius:.7rem;background:var(--back);font-size:.75rem;
line-height:1.25rem;text-decoration:none;font-weight:600}
.flag:hover,.flag:focus{background:var(--strip)}
.chapters{position:relative;height:30px;background:var(--strip);border-radius:2px}
.chapters i{position:absolute;top:4px;bottom:4px;width:2px;margin-left:-1px;background:var(--text);left:var(--at)}
.legend{display:flex;flex-wrap:wrap;gap:.25rem 1.25rem;font-size:.82rem;color:var(--quiet);margin:0 0 .75rem;padding:0;
list-style:none}
.legend li{display:flex;align-items:center;gap:.45rem}
.legend svg{width:22px;height:14px;background:none;flex:none}
.legend .hatched{position:relative;width:22px;height:14px;flex:none}
details{margin-top:1.5rem;border-top:1px solid var(--line);padding-top:.75rem}
summary{cursor:pointer;font-weight:600}
.scroll{overflow-x:auto}
table{border-collapse:collapse;margin:.75rem 0 1.25rem;font-size:.87rem}
caption{text-align:left;font-weight:600;padding-bottom:.25rem}
th,td{text-align:left;padding:.25rem 1rem .25rem 0;border-bottom:1px solid var(--line);vertical-align:top;
overflow-wrap:normal}
th{font-weight:600;color:var(--quiet)}
td.n,th.n{text-align:right}
@media(max-width:760px){body{padding:1.25rem .9rem 2rem}
.row{grid-template-columns:minmax(0,1fr);row-gap:.35rem}.axis .minor{display:none}h1{font-size:1.25rem}}
@media print{details:not([open])>*{display:block}}
)";

}  // namespace vantor::tools
