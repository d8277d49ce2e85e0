// The files of Web/page/ as the tool was built with them: a page and what fills it belong together.
#pragma once

namespace Nimb::Tool {

extern const char* const c_WebIndexHtml;
extern const char* const c_WebSingleHtml;
extern const char* const c_WebPageCss;
extern const char* const c_WebPageJs;
extern const char* const c_WebSingleJs;
extern const char* const c_WebCompareHtml;
extern const char* const c_WebCompareCss;
extern const char* const c_WebCompareJs;

}  // namespace Nimb::Tool
