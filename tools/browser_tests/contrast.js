// Texts that do not stand out enough from what is behind them (WCAG 2, level AA).
'use strict';

// least: how many texts there are at least to be looked at.
const contrastMistakes = (page, least = 50) => page.evaluate(fewest => {
  const numbers = color => color.match(/[\d.]+/g).map(Number);
  const luminance = ([r, g, b]) => {
    const linear = [r / 255, g / 255, b / 255].map(
      value => (value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4));
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2];
  };
  const groundOf = element => {
    for (let at = element; at; at = at.parentElement) {
      const [r, g, b, a = 1] = numbers(getComputedStyle(at).backgroundColor);
      if (a === 1) return [r, g, b];
    }
    return [255, 255, 255];
  };
  const mistakes = [];
  let looked = 0;
  for (const element of document.querySelectorAll('body *')) {
    const own = [...element.childNodes].some(node => node.nodeType === Node.TEXT_NODE && node.textContent.trim());
    if (!own || !element.checkVisibility() || ['OPTION', 'NOSCRIPT'].includes(element.tagName)) continue;
    ++looked;
    const style = getComputedStyle(element);
    const [light, dim] = [luminance(numbers(style.color)), luminance(groundOf(element))].sort((a, b) => b - a);
    const ratio = (light + 0.05) / (dim + 0.05);
    if (ratio < 4.5) mistakes.push(`${element.tagName} "${element.textContent.slice(0, 30)}" ${ratio.toFixed(2)}`);
  }
  if (looked < fewest) mistakes.push(`only ${looked} texts were looked at`);
  return mistakes;
}, least);

module.exports = {contrastMistakes};
