{{%AUTOESCAPE context="HTML"}}<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src '{{STYLE_SUM}}'; base-uri 'none'; form-action 'none'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="referrer" content="no-referrer">
<title>Upgrade of a fleet</title>
<style>{{STYLE:none}}</style>
</head>
<body>
<header>
<p class="over">Upgrade of a fleet</p>
<h1>{{UPGRADED}} upgraded, {{CURRENT}} current, {{REFUSED}} refused, {{FAILED}} failed</h1>
<nav aria-label="Parts of this page">
<a href="#reasons">Why not</a> <a href="#warnings">What needs a look</a> <a href="#causes">What dropped lines</a> <a href="#worst">Lost most</a> <a href="#appliances">Appliances</a>
</nav>
</header>
<main>
{{#GROUPS}}
<section id="{{ID}}" aria-labelledby="{{ID}}-title">
<h2 id="{{ID}}-title">{{TITLE}}</h2>
{{#NONE}}<p>Nothing.</p>{{/NONE}}
{{#SOME}}<div class="wide" tabindex="0" role="region" aria-labelledby="{{ID}}-title">
<table>
<thead><tr><th scope="col">Cause</th><th scope="col" class="number">Appliances</th><th scope="col" class="number">{{COUNTED}}</th><th scope="col">First</th></tr></thead>
<tbody>
{{#GROUP}}<tr><td>{{CAUSE}}{{#KIND}} ({{NAME}}){{/KIND}}</td><td class="number">{{APPLIANCES}}</td><td class="number">{{COUNT}}</td><td>{{FIRST}}{{#EXAMPLE}}: {{TEXT}}{{/EXAMPLE}}</td></tr>
{{/GROUP}}</tbody>
</table>
</div>{{/SOME}}
</section>
{{/GROUPS}}
<section id="worst" aria-labelledby="worst-title">
<h2 id="worst-title">Lost most</h2>
<ol>
{{#WORST}}<li>{{ENTRY}}: {{DROPPED}} of {{LINES}} lines</li>
{{/WORST}}</ol>
</section>
<section id="appliances" aria-labelledby="appliances-title">
<h2 id="appliances-title">Appliances</h2>
<div class="wide" tabindex="0" role="region" aria-labelledby="appliances-title">
<table>
<thead><tr><th scope="col">Appliance</th><th scope="col">Result</th><th scope="col" class="number">Lines</th><th scope="col" class="number">Dropped</th><th scope="col">Why not</th></tr></thead>
<tbody>
<!-- row -->
{{%AUTOESCAPE context="HTML"}}<tr><th scope="row">{{#PAGE}}<a href="{{ADDRESS}}">{{ENTRY}}</a>{{/PAGE}}{{#NO_PAGE}}{{ENTRY}}{{/NO_PAGE}}</th><td>{{RESULT}}</td><td class="number">{{LINES}}</td><td class="number">{{DROPPED}}</td><td>{{WHY}}</td></tr>
<!-- end -->
</tbody>
</table>
</div>
</section>
</main>
</body>
</html>
