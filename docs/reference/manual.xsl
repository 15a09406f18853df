<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-FileCopyrightText: 2026 the libzvOS authors -->
<!-- SPDX-License-Identifier: Apache-2.0 -->

<!-- Makes the manual pages of section 3 from the XML of the reference: one for each function and variable, which
     says also what its family says for all, one for each family, and for each macro that stands for a function a
     page that leads there.

       xsltproc -stringparam folder man3/ -stringparam version 1.1.0 manual.xsl xml/index.xml -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
    xmlns:exsl="http://exslt.org/common" extension-element-prefixes="exsl">
  <xsl:output method="text" encoding="UTF-8"/>
  <xsl:param name="folder"/>
  <xsl:param name="version"/>

  <xsl:variable name="newline" select="'&#10;'"/>

  <xsl:template match="/doxygenindex">
    <xsl:for-each select="compound[@kind = 'group']">
      <xsl:apply-templates select="document(concat(@refid, '.xml'), /)/doxygen/compounddef"/>
    </xsl:for-each>
  </xsl:template>

  <!-- ==== Pages ==== -->

  <xsl:template match="compounddef">
    <exsl:document href="{$folder}{compoundname}.3" method="text" encoding="UTF-8">
      <xsl:call-template name="heading">
        <xsl:with-param name="name" select="compoundname"/>
      </xsl:call-template>
      <xsl:call-template name="name-section">
        <xsl:with-param name="name" select="compoundname"/>
        <xsl:with-param name="brief">
          <xsl:call-template name="roff"><xsl:with-param name="text" select="title"/></xsl:call-template>
        </xsl:with-param>
      </xsl:call-template>
      <xsl:if test=".//memberdef[@kind = 'function' or @kind = 'variable']">
        <xsl:text>.SH SYNOPSIS&#10;.nh&#10;.ad l&#10;</xsl:text>
        <xsl:call-template name="include"/>
        <xsl:for-each select=".//memberdef[@kind = 'function' or @kind = 'variable']">
          <xsl:call-template name="prototype"/>
        </xsl:for-each>
        <xsl:text>.ad b&#10;.hy&#10;</xsl:text>
      </xsl:if>
      <xsl:text>.SH DESCRIPTION&#10;</xsl:text>
      <xsl:apply-templates select="briefdescription/*|detaileddescription/*"/>
      <xsl:apply-templates select=".//memberdef[@kind = 'enum']" mode="values"/>
      <xsl:apply-templates select="innerclass"/>
      <xsl:call-template name="fields">
        <xsl:with-param name="family" select="."/>
      </xsl:call-template>
    </exsl:document>
    <xsl:apply-templates select=".//memberdef[@kind = 'function' or @kind = 'variable']"/>
    <xsl:apply-templates select=".//memberdef[@kind = 'define'][contains(briefdescription, ' under the plain name')]"
        mode="link"/>
  </xsl:template>

  <xsl:template match="memberdef">
    <xsl:variable name="family" select="ancestor::compounddef"/>
    <xsl:variable name="plain"
        select="$family//memberdef[@kind = 'define']
                [normalize-space(briefdescription) = concat(current()/name, ' under the plain name.')]"/>
    <exsl:document href="{$folder}{name}.3" method="text" encoding="UTF-8">
      <xsl:call-template name="heading">
        <xsl:with-param name="name" select="name"/>
      </xsl:call-template>
      <xsl:call-template name="name-section">
        <xsl:with-param name="name">
          <xsl:value-of select="name"/>
          <xsl:for-each select="$plain"><xsl:value-of select="concat(', ', name)"/></xsl:for-each>
        </xsl:with-param>
        <xsl:with-param name="brief">
          <xsl:apply-templates select="briefdescription/para/node()" mode="line"/>
        </xsl:with-param>
      </xsl:call-template>
      <xsl:text>.SH SYNOPSIS&#10;.nh&#10;.ad l&#10;</xsl:text>
      <xsl:call-template name="include"/>
      <xsl:call-template name="prototype"/>
      <xsl:for-each select="$plain">
        <xsl:value-of select="concat('.HP', $newline, '\fB', name, '(')"/>
        <xsl:for-each select="param">
          <xsl:if test="position() > 1">, </xsl:if>
          <xsl:value-of select="defname"/>
        </xsl:for-each>
        <xsl:text>);\fP&#10;</xsl:text>
      </xsl:for-each>
      <xsl:text>.ad b&#10;.hy&#10;</xsl:text>
      <xsl:text>.SH DESCRIPTION&#10;</xsl:text>
      <xsl:apply-templates select="briefdescription/*|detaileddescription/*"/>
      <xsl:if test=".//parameteritem">
        <xsl:text>.SH ARGUMENTS&#10;</xsl:text>
        <xsl:apply-templates select=".//parameteritem"/>
      </xsl:if>
      <xsl:if test=".//simplesect[@kind = 'return']">
        <xsl:text>.SH RETURN VALUE&#10;</xsl:text>
        <xsl:apply-templates select=".//simplesect[@kind = 'return']/*"/>
      </xsl:if>
      <xsl:call-template name="fields">
        <xsl:with-param name="family" select="$family"/>
      </xsl:call-template>
      <xsl:text>.SH SEE ALSO&#10;.BR </xsl:text>
      <xsl:call-template name="code"><xsl:with-param name="text" select="$family/compoundname"/></xsl:call-template>
      <xsl:text> (3)&#10;</xsl:text>
    </exsl:document>
  </xsl:template>

  <xsl:template match="memberdef" mode="link">
    <exsl:document href="{$folder}{name}.3" method="text" encoding="UTF-8">
      <xsl:value-of select="concat('.so man3/', substring-before(normalize-space(briefdescription), ' '), '.3', $newline)"/>
    </exsl:document>
  </xsl:template>

  <!-- ==== Parts of a page ==== -->

  <xsl:template name="heading">
    <xsl:param name="name"/>
    <xsl:value-of select="concat('.TH ', $name, ' 3 &quot;&quot; &quot;libzvOS ', $version, '&quot; &quot;libzvOS&quot;', $newline)"/>
  </xsl:template>

  <xsl:template name="name-section">
    <xsl:param name="name"/>
    <xsl:param name="brief"/>
    <xsl:text>.SH NAME&#10;</xsl:text>
    <xsl:value-of select="concat($name, ' \- ', normalize-space($brief), $newline)"/>
  </xsl:template>

  <!-- The header of a family is that of its first member. -->
  <xsl:template name="include">
    <xsl:text>\fB#include &lt;</xsl:text>
    <xsl:call-template name="code">
      <xsl:with-param name="text" select="(location|.//memberdef[1]/location)[1]/@file"/>
    </xsl:call-template>
    <xsl:text>&gt;\fP&#10;</xsl:text>
  </xsl:template>

  <xsl:template name="prototype">
    <xsl:variable name="pointers">
      <xsl:call-template name="replace">
        <!-- A pointer to a function has its arguments in its definition. -->
        <xsl:with-param name="text" select="concat(definition, argsstring[not(starts-with(., ')'))], ';')"/>
        <xsl:with-param name="old" select="'* '"/>
        <xsl:with-param name="new" select="'*'"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:text>.HP&#10;\fB</xsl:text>
    <xsl:call-template name="code"><xsl:with-param name="text" select="$pointers"/></xsl:call-template>
    <xsl:text>\fP&#10;</xsl:text>
  </xsl:template>

  <!-- What the member says itself, else what its family says for all. -->
  <xsl:template name="fields">
    <xsl:param name="family"/>
    <xsl:call-template name="field">
      <xsl:with-param name="family" select="$family"/>
      <xsl:with-param name="title" select="'Deliberately odd'"/>
      <xsl:with-param name="section" select="'DELIBERATELY ODD'"/>
    </xsl:call-template>
    <xsl:call-template name="field">
      <xsl:with-param name="family" select="$family"/>
      <xsl:with-param name="title" select="'errno'"/>
      <xsl:with-param name="section" select="'ERRORS'"/>
    </xsl:call-template>
    <xsl:call-template name="field">
      <xsl:with-param name="family" select="$family"/>
      <xsl:with-param name="title" select="'Log'"/>
      <xsl:with-param name="section" select="'LOG'"/>
    </xsl:call-template>
    <xsl:call-template name="field">
      <xsl:with-param name="family" select="$family"/>
      <xsl:with-param name="title" select="'Threads'"/>
      <xsl:with-param name="section" select="'THREADS'"/>
    </xsl:call-template>
    <xsl:call-template name="field">
      <xsl:with-param name="family" select="$family"/>
      <xsl:with-param name="title" select="'Signal handlers'"/>
      <xsl:with-param name="section" select="'SIGNAL HANDLERS'"/>
    </xsl:call-template>
    <xsl:call-template name="field">
      <xsl:with-param name="family" select="$family"/>
      <xsl:with-param name="title" select="'After fork'"/>
      <xsl:with-param name="section" select="'AFTER FORK'"/>
    </xsl:call-template>
    <xsl:variable name="own" select="detaileddescription//simplesect[@kind = 'since']"/>
    <xsl:variable name="since" select="$own|$family[not($own)]/detaileddescription//simplesect[@kind = 'since']"/>
    <xsl:if test="$since">
      <xsl:value-of select="concat('.SH HISTORY', $newline, 'Since version ', normalize-space($since), '.', $newline)"/>
    </xsl:if>
  </xsl:template>

  <xsl:template name="field">
    <xsl:param name="family"/>
    <xsl:param name="title"/>
    <xsl:param name="section"/>
    <xsl:variable name="own" select="detaileddescription//simplesect[@kind = 'par'][title = $title]"/>
    <xsl:variable name="common" select="$family/detaileddescription//simplesect[@kind = 'par'][title = $title]"/>
    <xsl:if test="$own or $common">
      <xsl:value-of select="concat('.SH ', $section, $newline)"/>
      <xsl:choose>
        <xsl:when test="$own"><xsl:apply-templates select="$own/*[not(self::title)]"/></xsl:when>
        <xsl:otherwise><xsl:apply-templates select="$common/*[not(self::title)]"/></xsl:otherwise>
      </xsl:choose>
    </xsl:if>
  </xsl:template>

  <xsl:template match="parameteritem">
    <xsl:text>.TP&#10;\fI</xsl:text>
    <xsl:call-template name="code"><xsl:with-param name="text" select="normalize-space(parameternamelist)"/></xsl:call-template>
    <xsl:text>\fP&#10;</xsl:text>
    <xsl:for-each select="parameterdescription/para">
      <xsl:if test="position() > 1">.IP&#10;</xsl:if>
      <xsl:call-template name="flow"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="memberdef" mode="values">
    <xsl:text>.PP&#10;</xsl:text>
    <xsl:apply-templates select="briefdescription/para/node()" mode="line"/>
    <xsl:value-of select="$newline"/>
    <xsl:for-each select="enumvalue">
      <xsl:text>.TP&#10;\fB</xsl:text>
      <xsl:call-template name="code"><xsl:with-param name="text" select="concat(name, ' ', initializer)"/></xsl:call-template>
      <xsl:text>\fP&#10;</xsl:text>
      <xsl:variable name="text"><xsl:apply-templates select="(briefdescription|detaileddescription)/para/node()" mode="line"/></xsl:variable>
      <xsl:value-of select="concat(normalize-space($text), $newline)"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="innerclass">
    <xsl:for-each select="document(concat(@refid, '.xml'), /)/doxygen/compounddef">
      <xsl:text>.PP&#10;struct&#10;.B </xsl:text>
      <xsl:call-template name="code"><xsl:with-param name="text" select="compoundname"/></xsl:call-template>
      <xsl:value-of select="$newline"/>
      <xsl:for-each select=".//memberdef[@kind = 'variable']">
        <xsl:text>.TP&#10;\fB</xsl:text>
        <xsl:call-template name="code"><xsl:with-param name="text" select="concat(type, ' ', name, argsstring)"/></xsl:call-template>
        <xsl:text>\fP&#10;</xsl:text>
        <xsl:variable name="text"><xsl:apply-templates select="(briefdescription|detaileddescription)/para/node()" mode="line"/></xsl:variable>
        <xsl:value-of select="concat(normalize-space($text), $newline)"/>
      </xsl:for-each>
    </xsl:for-each>
  </xsl:template>

  <!-- ==== Text ==== -->

  <xsl:template match="para">
    <xsl:variable name="text"><xsl:call-template name="flow"/></xsl:variable>
    <xsl:if test="normalize-space($text) != ''">
      <!-- The first of a section begins with it, and a listing brings its own beginning. -->
      <xsl:if test="(parent::detaileddescription or preceding-sibling::para) and not(starts-with($text, '.PP'))">.PP&#10;</xsl:if>
      <xsl:value-of select="$text"/>
    </xsl:if>
  </xsl:template>

  <!-- The running text of a paragraph, with what interrupts it. -->
  <xsl:template name="flow">
    <xsl:variable name="text">
      <xsl:apply-templates select="node()[not(self::programlisting or self::itemizedlist or self::simplesect
                                              or self::parameterlist)]" mode="line"/>
    </xsl:variable>
    <xsl:if test="normalize-space($text) != ''">
      <xsl:call-template name="guarded"><xsl:with-param name="text" select="normalize-space($text)"/></xsl:call-template>
    </xsl:if>
    <xsl:apply-templates select="programlisting|itemizedlist"/>
  </xsl:template>

  <xsl:template match="itemizedlist">
    <xsl:if test="ancestor::parameterdescription">.RS&#10;</xsl:if>
    <xsl:for-each select="listitem">
      <xsl:text>.IP \(bu 3&#10;</xsl:text>
      <xsl:for-each select="para"><xsl:call-template name="flow"/></xsl:for-each>
    </xsl:for-each>
    <xsl:if test="ancestor::parameterdescription">.RE&#10;</xsl:if>
  </xsl:template>

  <xsl:template match="programlisting">
    <xsl:text>.PP&#10;.in +4n&#10;.nf&#10;</xsl:text>
    <xsl:for-each select="codeline">
      <xsl:variable name="line"><xsl:apply-templates mode="listing"/></xsl:variable>
      <xsl:call-template name="guarded"><xsl:with-param name="text" select="string($line)"/></xsl:call-template>
    </xsl:for-each>
    <xsl:text>.fi&#10;.in&#10;</xsl:text>
  </xsl:template>

  <xsl:template match="sp" mode="listing"><xsl:text> </xsl:text></xsl:template>
  <xsl:template match="text()" mode="listing">
    <xsl:call-template name="code"><xsl:with-param name="text" select="."/></xsl:call-template>
  </xsl:template>

  <xsl:template match="text()" mode="line">
    <xsl:call-template name="roff"><xsl:with-param name="text" select="."/></xsl:call-template>
  </xsl:template>
  <xsl:template match="computeroutput" mode="line">
    <xsl:text>\fB</xsl:text>
    <xsl:call-template name="code"><xsl:with-param name="text" select="."/></xsl:call-template>
    <xsl:text>\fP</xsl:text>
  </xsl:template>
  <xsl:template match="emphasis|bold" mode="line">
    <xsl:text>\fI</xsl:text><xsl:apply-templates mode="line"/><xsl:text>\fP</xsl:text>
  </xsl:template>
  <xsl:template match="sp" mode="line"><xsl:text> </xsl:text></xsl:template>
  <xsl:template match="mdash" mode="line"><xsl:text>\(em</xsl:text></xsl:template>
  <xsl:template match="ndash" mode="line"><xsl:text>\(en</xsl:text></xsl:template>

  <!-- A line that begins with a dot or an apostrophe would be a request. -->
  <xsl:template name="guarded">
    <xsl:param name="text"/>
    <xsl:if test="starts-with($text, '.') or starts-with($text, &quot;'&quot;)">\&amp;</xsl:if>
    <xsl:value-of select="concat($text, $newline)"/>
  </xsl:template>

  <xsl:template name="roff">
    <xsl:param name="text"/>
    <xsl:call-template name="replace">
      <xsl:with-param name="text" select="$text"/>
      <xsl:with-param name="old" select="'\'"/>
      <xsl:with-param name="new" select="'\e'"/>
    </xsl:call-template>
  </xsl:template>

  <!-- Names and code, whose hyphens are minus signs. -->
  <xsl:template name="code">
    <xsl:param name="text"/>
    <xsl:variable name="escaped"><xsl:call-template name="roff"><xsl:with-param name="text" select="$text"/></xsl:call-template></xsl:variable>
    <xsl:call-template name="replace">
      <xsl:with-param name="text" select="$escaped"/>
      <xsl:with-param name="old" select="'-'"/>
      <xsl:with-param name="new" select="'\-'"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="replace">
    <xsl:param name="text"/>
    <xsl:param name="old"/>
    <xsl:param name="new"/>
    <xsl:choose>
      <xsl:when test="contains($text, $old)">
        <xsl:value-of select="concat(substring-before($text, $old), $new)"/>
        <xsl:call-template name="replace">
          <xsl:with-param name="text" select="substring-after($text, $old)"/>
          <xsl:with-param name="old" select="$old"/>
          <xsl:with-param name="new" select="$new"/>
        </xsl:call-template>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$text"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>
</xsl:stylesheet>
