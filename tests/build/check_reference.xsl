<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-FileCopyrightText: 2026 the libzvOS authors -->
<!-- SPDX-License-Identifier: Apache-2.0 -->

<!-- Tells of each function and variable of the reference its name, its place in the HTML, since which version it is
     there and, one line each, what its comment and that of its family leave open; and of the C++ interface each type and
     member that has a text, with its place. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:variable name="capitals" select="'ABCDEFGHIJKLMNOPQRSTUVWXYZ'"/>
  <xsl:variable name="small" select="'abcdefghijklmnopqrstuvwxyz'"/>

  <xsl:template match="/doxygenindex">
    <xsl:for-each select="compound[@kind = 'group']">
      <xsl:apply-templates select="document(concat(@refid, '.xml'), /)//memberdef[@kind = 'function' or @kind = 'variable']"/>
    </xsl:for-each>
    <xsl:for-each select="compound[name = 'zv' or starts-with(name, 'zv::')]">
      <xsl:apply-templates select="document(concat(@refid, '.xml'), /)/doxygen/compounddef" mode="cpp"/>
    </xsl:for-each>
  </xsl:template>

  <!-- A type, or an enumeration, and its members. -->
  <xsl:template match="compounddef|memberdef[@kind = 'enum' and not(starts-with(name, '@'))]" mode="cpp">
    <xsl:variable name="scope">
      <xsl:if test="self::memberdef"><xsl:value-of select="concat(../../compoundname, '::')"/></xsl:if>
      <xsl:value-of select="translate(compoundname|name, ' ', '')"/>
    </xsl:variable>
    <xsl:if test="normalize-space(briefdescription) != ''">
      <xsl:value-of select="concat('cpptype ', $scope, ' ', @id, '&#10;')"/>
    </xsl:if>
    <xsl:apply-templates select="sectiondef/memberdef[@kind = 'enum' and not(starts-with(name, '@'))]" mode="cpp"/>
    <xsl:for-each select="sectiondef/memberdef[not(@kind = 'enum')]|sectiondef/memberdef[@kind = 'enum' and starts-with(name, '@')]/enumvalue|enumvalue">
      <xsl:if test="@prot = 'public' and normalize-space(briefdescription|detaileddescription) != ''">
        <xsl:value-of select="concat('cppmember ', $scope, ' ', translate(name, ' ', '_'), ' ', @id, '&#10;')"/>
      </xsl:if>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="memberdef">
    <xsl:variable name="family" select="ancestor::compounddef/detaileddescription"/>
    <xsl:variable name="all" select="detaileddescription|$family"/>
    <xsl:variable name="return" select="normalize-space(detaileddescription//simplesect[@kind = 'return'])"/>
    <xsl:value-of select="concat('name ', name, ' ', ancestor::compounddef/@id, '.html ',
                                 substring-after(@id, concat(ancestor::compounddef/@id, '_1')), '&#10;')"/>

    <xsl:variable name="since" select="detaileddescription//simplesect[@kind = 'since']"/>
    <xsl:value-of select="concat('since ', name, ' ',
        normalize-space($since|$family[not($since)]//simplesect[@kind = 'since']), '&#10;')"/>

    <xsl:if test="normalize-space(briefdescription) = ''">
      <xsl:call-template name="lack"><xsl:with-param name="what" select="'what it is for'"/></xsl:call-template>
    </xsl:if>
    <xsl:if test="not($all//simplesect[@kind = 'since'][normalize-space() != ''])">
      <xsl:call-template name="lack"><xsl:with-param name="what" select="'since which version'"/></xsl:call-template>
    </xsl:if>
    <xsl:if test="not($all//simplesect[title = 'Threads'][normalize-space(para) != ''])">
      <xsl:call-template name="lack"><xsl:with-param name="what" select="'threads'"/></xsl:call-template>
    </xsl:if>

    <xsl:if test="@kind = 'function'">
      <xsl:if test="not($all//simplesect[title = 'Signal handlers'][normalize-space(para) != ''])">
        <xsl:call-template name="lack"><xsl:with-param name="what" select="'signal handlers'"/></xsl:call-template>
      </xsl:if>
      <xsl:if test="not($all//simplesect[title = 'After fork'][normalize-space(para) != ''])">
        <xsl:call-template name="lack"><xsl:with-param name="what" select="'after fork'"/></xsl:call-template>
      </xsl:if>
      <xsl:if test="not($all//simplesect[title = 'errno'][normalize-space(para) != ''])">
        <xsl:call-template name="lack"><xsl:with-param name="what" select="'errno'"/></xsl:call-template>
      </xsl:if>
      <xsl:if test="not($all//simplesect[title = 'Log'][normalize-space(para) != ''])">
        <xsl:call-template name="lack"><xsl:with-param name="what" select="'what is logged'"/></xsl:call-template>
      </xsl:if>
      <xsl:if test="normalize-space(type) != 'void' and $return = ''">
        <xsl:call-template name="lack"><xsl:with-param name="what" select="'what it returns'"/></xsl:call-template>
      </xsl:if>
      <!-- Whose a pointer is that is returned. -->
      <xsl:if test="contains(type, '*') and $return != 'NULL'
                    and not(contains($return, 'releases') or contains($return, 'belongs') or contains($return, 'static')
                            or contains($return, 'not to be released'))">
        <xsl:call-template name="lack"><xsl:with-param name="what" select="'whose the result is'"/></xsl:call-template>
      </xsl:if>
      <xsl:apply-templates select="param[declname]"/>
    </xsl:if>
  </xsl:template>

  <xsl:template match="param">
    <xsl:variable name="name" select="declname"/>
    <xsl:variable name="text"
        select="normalize-space(..//parameteritem[normalize-space(parameternamelist) = $name]/parameterdescription)"/>
    <xsl:variable name="lower" select="translate(declname, $capitals, $small)"/>
    <xsl:if test="$text = ''">
      <xsl:call-template name="lack"><xsl:with-param name="what" select="concat('argument ', $name)"/></xsl:call-template>
    </xsl:if>
    <!-- An address or a port that is a number. -->
    <xsl:if test="(contains(type, 'int') or contains(type, 'long') or contains(type, 'short'))
                  and not(contains($name, 'QOS') or contains($name, 'Policy') or contains($name, 'MAC') or contains($name, 'Mac'))
                  and (contains($name, 'IP') or contains($name, 'Port') or contains($name, 'Address'))
                  and not(contains($text, 'byte order') or contains($text, 'not looked at'))">
      <xsl:call-template name="lack"><xsl:with-param name="what" select="concat('byte order of ', $name)"/></xsl:call-template>
    </xsl:if>
    <!-- A time that is a number. -->
    <xsl:if test="not(contains(type, 'timeval'))
                  and (contains($lower, 'delay') or contains($lower, 'timeout') or contains($lower, 'duration')
                       or contains($lower, 'keepalivetime') or contains($lower, 'keepaliveinterval'))
                  and not(contains($lower, 'nodelay')) and not(contains($text, 'seconds'))">
      <xsl:call-template name="lack"><xsl:with-param name="what" select="concat('unit of ', $name)"/></xsl:call-template>
    </xsl:if>
  </xsl:template>

  <xsl:template name="lack">
    <xsl:param name="what"/>
    <xsl:value-of select="concat('lacks ', ancestor-or-self::memberdef/name, ': ', $what, '&#10;')"/>
  </xsl:template>
</xsl:stylesheet>
