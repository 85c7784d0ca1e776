{{%AUTOESCAPE context="HTML"}}<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src '{{STYLE_SUM}}'; script-src '{{SCRIPT_SUM}}'; base-uri 'none'; form-action 'none'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="referrer" content="no-referrer">
<title>{{NAME}}{{#WAY}}: from {{FROM}} to {{TO}}{{/WAY}}</title>
<style>{{STYLE:none}}</style>
<script>{{SCRIPT:none}}</script>
</head>
<body>
<a class="skip" href="#changes">To the changes</a>
<header>
<p class="over">Upgrade report</p>
<h1>{{NAME}}{{#WAY}} <span class="way">{{FROM}} → {{TO}}</span>{{/WAY}}</h1>
<p class="verdict {{VERDICT_KIND}}">{{VERDICT}}</p>
<p class="summary">{{SUMMARY}}</p>
<nav aria-label="Parts of this page">
<a href="#look">What needs a look</a> <a href="#files">Files</a> <a href="#releases">Releases</a> <a href="#changes">Changes</a>{{#EFFECTS}} <a href="#beside">Other files</a>{{/EFFECTS}}{{#SIGNATURES}} <a href="#signatures">Signatures</a>{{/SIGNATURES}} <a href="#text">Text</a> <a href="#made">How it was made</a>
</nav>
</header>
<main>

<section id="look" aria-labelledby="look-title">
<h2 id="look-title">What needs a look</h2>
{{#NO_FINDING}}<p>Nothing.</p>{{/NO_FINDING}}
<ul class="findings">
{{#FINDING}}<li>{{TEXT}}{{#ITS_CAUSES}} <span class="places">cause {{#ITS_CAUSE}}<a href="#cause-{{NUMBER}}">{{NUMBER}}</a>{{#ITS_CAUSE_separator}}, {{/ITS_CAUSE_separator}}{{/ITS_CAUSE}}</span>{{/ITS_CAUSES}}{{#PLACES}} <span class="places">{{#PLACE}}{{#IN_FILE}}<span class="file">{{FILE}}</span> {{/IN_FILE}}{{#LINKED}}<a href="#{{ADDRESS}}">{{LINES}}</a> {{/LINKED}}{{#UNLINKED}}{{LINES}} {{/UNLINKED}}{{/PLACE}}</span>{{/PLACES}}</li>
{{/FINDING}}</ul>
</section>

<section id="files" aria-labelledby="files-title">
<h2 id="files-title">Files</h2>
<div class="wide" tabindex="0" role="region" aria-labelledby="files-title">
<table>
<thead><tr><th scope="col">File</th><th scope="col">Before</th><th scope="col">After</th><th scope="col">Result</th><th scope="col" class="number">Lines</th><th scope="col"><span class="hidden">Bar</span></th><th scope="col" class="number">Kept</th><th scope="col" class="number">Moved</th><th scope="col" class="number">Rewritten</th><th scope="col" class="number">Dropped</th><th scope="col" class="number">Layout</th><th scope="col" class="number">Unread</th><th scope="col" class="number">Added</th><th scope="col" class="number">Lines now</th></tr></thead>
<tbody>
{{#FILE_ROW}}<tr><th scope="row">{{FILE}}</th><td>{{BEFORE}}</td><td>{{AFTER}}</td><td>{{RESULT}}</td>{{#WITH_LINES}}<td class="number">{{IN}}</td><td><svg class="bar" viewBox="0 0 1000 10" preserveAspectRatio="none" aria-hidden="true">{{#BAR}}<rect class="{{FATE}}" x="{{X}}" y="0" width="{{WIDTH}}" height="10"/>{{/BAR}}</svg></td><td class="number">{{KEPT}}</td><td class="number">{{MOVED}}</td><td class="number">{{REWRITTEN}}</td><td class="number">{{DROPPED}}</td><td class="number">{{LAYOUT}}</td><td class="number">{{UNREAD}}</td><td class="number">{{ADDED}}</td><td class="number">{{OUT}}</td>{{/WITH_LINES}}{{#WITHOUT_LINES}}<td colspan="10"></td>{{/WITHOUT_LINES}}</tr>
{{/FILE_ROW}}</tbody>
</table>
</div>
<p class="key"><span class="fate kept">kept</span> <span class="fate moved">moved</span> <span class="fate rewritten">rewritten</span> <span class="fate dropped">dropped</span> <span class="fate added">added</span> Layout is what holds no setting: comments, header lines, and lines that close a block.</p>
</section>

<section id="releases" aria-labelledby="releases-title">
<h2 id="releases-title">Releases on the way</h2>
<ol class="releases">
{{#RELEASE}}<li class="{{#QUIET}}quiet{{/QUIET}}" data-release="{{RELEASE}}"><span class="release">{{RELEASE}}</span> <svg class="bar" viewBox="0 0 1000 10" preserveAspectRatio="none" aria-hidden="true">{{#BAR}}<rect class="{{FATE}}" x="{{X}}" y="0" width="{{WIDTH}}" height="10"/>{{/BAR}}</svg> <span class="counts">{{#QUIET}}no line{{/QUIET}}{{#COUNT}}<span class="count">{{LINES}} {{FATE}}</span> {{/COUNT}}</span></li>
{{/RELEASE}}</ol>
</section>

<section id="changes" aria-labelledby="changes-title">
<h2 id="changes-title">Changes by cause</h2>
<p class="note">What is about protection and credentials comes first. A change with several causes stands below each of them. Numbers are lines of the result; those marked (old) are lines of the old file that are gone.</p>
<form id="filters" class="scripted" role="search" aria-label="Changes and text" hidden>
<label>Search <input id="search" type="search" autocomplete="off" spellcheck="false"></label>
<label>Release <select id="by-release"><option value="">all</option></select></label>
<label>Cause <select id="by-cause"><option value="">all</option></select></label>
<label>File <select id="by-file"><option value="">all</option></select></label>
<label>Fate <select id="by-fate"><option value="">all</option><option>dropped</option><option>rewritten</option><option>added</option><option>moved</option></select></label>
<button type="reset">Clear</button>
<output id="found" aria-live="polite"></output>
</form>
{{#CAUSE}}<details class="cause" id="cause-{{NUMBER}}" data-number="{{NUMBER}}" data-release="{{RELEASE}}" data-kind="{{KIND}}">
<summary><h3><span class="ordinal">{{NUMBER}}</span> {{SENTENCE}}</h3> <span class="by">{{RELEASE}} · {{MECHANISM}} <span class="name">{{NAME}}</span> · <span class="kind {{KIND}}">{{KIND}}</span></span> <span class="counts">{{#COUNT}}<span class="count" data-fate="{{FATE}}">{{LINES}} {{FATE}}</span> {{/COUNT}}</span></summary>
{{#PLACES}}<p class="places">{{#PLACE}}{{#IN_FILE}}<span class="file">{{FILE}}</span> {{/IN_FILE}}{{#LINKED}}<a href="#{{ADDRESS}}">{{LINES}}</a> {{/LINKED}}{{#UNLINKED}}{{LINES}} {{/UNLINKED}}{{/PLACE}}</p>{{/PLACES}}
</details>
{{/CAUSE}}</section>

{{#EFFECTS}}<section id="beside" aria-labelledby="beside-title">
<h2 id="beside-title">Files beside the configuration</h2>
<ul class="effects">
{{#EFFECT}}<li>{{WHAT}} {{#WAS}}<code>{{BEFORE}}</code> to {{/WAS}}<code>{{PATH}}</code>, <a href="#cause-{{CAUSE}}">cause {{CAUSE}}</a></li>
{{/EFFECT}}</ul>
</section>{{/EFFECTS}}

{{#SIGNATURES}}<section id="signatures" aria-labelledby="signatures-title">
<h2 id="signatures-title">Signature lists</h2>
<p class="note">What the image’s signature database does not have cannot be kept: the new release would not load it.</p>
{{#LIST}}<h3>{{NAME}}</h3>
<ul class="signatures">
{{#SIGNATURE}}<li><span class="mark">{{MARK}}</span> {{NAME}}, {{REASON}} <span class="places">{{#PLACE}}{{#IN_FILE}}{{/IN_FILE}}{{#LINKED}}<a href="#{{ADDRESS}}">{{LINES}}</a> {{/LINKED}}{{/PLACE}}</span></li>
{{/SIGNATURE}}</ul>
{{/LIST}}</section>{{/SIGNATURES}}

<section id="text" aria-labelledby="text-title">
<h2 id="text-title">The upgraded text</h2>
<p class="note">Each row has the line’s number in the old file, its number now, and the numbers of the causes that changed it. <b>-</b> was dropped, <b>~</b> is rewritten (the old row stands above the new one), <b>+</b> was added, <b>&gt;</b> was moved. A <b>"</b> goes on with the value above.<span class="scripted" hidden> <kbd>/</kbd> searches, <kbd>j</kbd> and <kbd>k</kbd> go to the next change and the one before.</span></p>
{{#TEXT}}<section class="text" data-file="{{ID}}" aria-labelledby="text-{{ID}}">
<h3 id="text-{{ID}}">{{FILE}}</h3>
<pre class="rows" tabindex="0" aria-labelledby="text-{{ID}}">
{{#PART}}<span class="part">{{#PIECE}}{{#ANCHOR}}<a id="{{ADDRESS}}"></a>{{/ANCHOR}}{{ROWS:pre_escape}}{{/PIECE}}</span>{{/PART}}</pre>
</section>
{{/TEXT}}</section>

<section id="made" aria-labelledby="made-title">
<h2 id="made-title">How it was made</h2>
<dl>
<dt>Of</dt><dd><code>{{SUBJECT}}</code></dd>
<dt>When</dt><dd><time datetime="{{MADE}}">{{MADE}}</time></dd>
{{#SNAPSHOT}}<dt>What was there before</dt><dd><code>{{FOLDER}}</code></dd>{{/SNAPSHOT}}
<dt>By the image in</dt><dd><code>{{IMAGE}}</code>, release {{TO}}</dd>
</dl>
<div class="wide" tabindex="0" role="region" aria-label="The image’s files">
<table>
<thead><tr><th scope="col">Image file</th><th scope="col" class="number">Size</th><th scope="col">SHA-256</th></tr></thead>
<tbody>
{{#IMAGE_FILE}}<tr><th scope="row">{{FILE}}</th><td class="number">{{SIZE}}</td><td><code>{{SUM}}</code></td></tr>
{{/IMAGE_FILE}}</tbody>
</table>
</div>
</section>
</main>
</body>
</html>
